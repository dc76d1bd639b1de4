#include "sondex/inside/Editing.h"

#include <algorithm>

#include "sondex/inside/Opening.h"
#include "support/WideText.h"

namespace sondex::inside {

namespace {

ErrorCode codeOf(MP4::Container::Failure::Kind kind) {
    using Failure = MP4::Container::Failure;
    switch (kind) {
        case Failure::busy:
            return ErrorCode::busy;
        case Failure::changed:
            return ErrorCode::changed;
        case Failure::unreadable:
            return ErrorCode::damaged;
        default:
            return ErrorCode::refused;
    }
}

}  // namespace

Error Reasons::error(const MP4::Container& movie) const {
    const auto& failure = movie.lastFailure();
    if (failure.kind == MP4::Container::Failure::system) return systemError(failure.error);
    const std::string path = WEKU::wchar::narrow(movie.path);
    std::string_view text = last;
    if (text.starts_with(path)) text.remove_prefix(path.size());
    text.remove_prefix(std::min(text.find_first_not_of(": "), text.size()));
    return {codeOf(failure.kind),
            text.empty() ? "the edit failed, and the file is as it was" : std::string(text)};
}

std::optional<Error> attachMovie(MP4::Container& movie, std::string_view path) {
    if (auto error = attach(movie, path, MP4::Container::wholeFile)) return error;
    if (movie.moov == nullptr) return whyNoMovie(movie);
    movie.keepFirstMovie();
    return std::nullopt;
}

}  // namespace sondex::inside
