#pragma once

#include <string>
#include <string_view>

#include "sondex/Read.h"
#include "support/Console.h"

namespace sondex::inside {

/// Takes the place of standard output and standard error for what runs behind the door, and keeps
/// the lines until it is sure that they are wanted.
class Lines final : public WEKU::Console::Sink {
  public:
    explicit Lines(bool wanted) : wanted(wanted) {}

    void write(std::string_view bytes) override;
    void warn(std::string_view line) override;

    /// Hands every line to the caller's function.
    void deliver(const Options& options) const;

  private:
    const bool wanted;
    std::string text;
};

}  // namespace sondex::inside
