#pragma once

#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "mp4/Container.h"
#include "sondex/Read.h"
#include "sondex/Result.h"
#include "sondex/inside/Lines.h"
#include "support/Console.h"

namespace sondex::inside {

/// Takes what an edit prints, for the caller's log; the last line for people is the reason of a
/// failure.
class Reasons final : public WEKU::Console::Sink {
  public:
    explicit Reasons(const Options& options = {}) : lines(options) {}
    void write(std::string_view bytes) override { lines.write(bytes); }
    void warn(std::string_view line) override {
        last = line;
        lines.warn(line);
    }

    /// Why the last edit of the movie failed.
    [[nodiscard]] Error error(const MP4::Container& movie) const;

    Lines lines;

  private:
    std::string last;
    WEKU::Console::Redirect redirect{*this};
};

[[nodiscard]] inline Error refused(std::string message) {
    return {ErrorCode::refused, std::move(message)};
}

/// Runs `edit(reasons)`, which gives a Result<T> and prints to nobody.
template <class T, class Edit>
Result<T> quietly(Edit edit) {
    const Reasons reasons;
    try {
        return edit(reasons);
    } catch (const std::bad_alloc&) {
        return Error{ErrorCode::outOfMemory, "not enough memory"};
    }
}

/// Attaches the container to a movie, for an edit; or says why it is none.
[[nodiscard]] std::optional<Error> attachMovie(MP4::Container& movie, std::string_view path);

}  // namespace sondex::inside
