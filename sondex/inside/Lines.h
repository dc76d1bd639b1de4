#pragma once

#include <exception>
#include <functional>
#include <string>
#include <string_view>

#include "sondex/Read.h"
#include "support/Console.h"

namespace sondex::inside {

/// Stands where standard output and standard error stood, and hands each line to the caller's
/// function; drops all when there is none.
class Lines final : public WEKU::Console::Sink {
  public:
    explicit Lines(const Options& options) : log(options.log) {}

    void write(std::string_view bytes) override;
    void warn(std::string_view line) override;
    bool isSilent() const override { return !log; }

    /// Hands over a last line without an end, and throws what the function threw, which must not
    /// pass through the readers.
    void finish();

  private:
    void deliver(std::string_view line);

    const std::function<void(std::string_view)> log;
    std::string unfinished;
    std::exception_ptr thrown;
    WEKU::Console::Redirect redirect{*this};
};

}  // namespace sondex::inside
