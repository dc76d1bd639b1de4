#pragma once

#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "mp4/Container.h"
#include "sondex/Result.h"
#include "support/Console.h"

namespace sondex::inside {

/// Takes what an edit prints; its last warning is the reason of a failure.
class Reasons final : public WEKU::Console::Sink {
  public:
    void write(std::string_view) override {}
    void warn(std::string_view line) override { last = line; }

    /// The reason as an error of the file at `path`.
    [[nodiscard]] Error error(std::string_view path) const;

  private:
    std::string last;
};

[[nodiscard]] inline Error refused(std::string message) {
    return {ErrorCode::refused, std::move(message)};
}

/// Runs `edit(reasons)`, which gives a Result<T> and prints to nobody.
template <class T, class Edit>
Result<T> quietly(Edit edit) {
    Reasons reasons;
    const WEKU::Console::Redirect redirect(reasons);
    try {
        return edit(reasons);
    } catch (const std::bad_alloc&) {
        return Error{ErrorCode::outOfMemory, "not enough memory"};
    }
}

/// Attaches the container to a movie; or says why it is none.
[[nodiscard]] std::optional<Error> attachMovie(MP4::Container& movie, std::string_view path);

}  // namespace sondex::inside
