#include "sondex/inside/Editing.h"

#include <algorithm>

#include "sondex/inside/Opening.h"

namespace sondex::inside {

Error Reasons::error(std::string_view path) const {
    std::string_view text = last;
    if (text.starts_with(path)) text.remove_prefix(path.size());
    text.remove_prefix(std::min(text.find_first_not_of(": "), text.size()));
    const auto says = [&](std::string_view words) {
        return text.find(words) != std::string_view::npos;
    };
    const ErrorCode code = says("another program") ? ErrorCode::busy
                           : says("has changed") || says("replaced") || says("other boxes")
                               ? ErrorCode::changed
                           : says("No space") ? ErrorCode::noSpace
                                              : ErrorCode::refused;
    return {code, text.empty() ? "the edit failed, and the file is as it was" : std::string(text)};
}

std::optional<Error> attachMovie(MP4::Container& movie, std::string_view path) {
    if (auto error = attach(movie, path, MP4::Container::wholeFile)) return error;
    if (movie.moov == nullptr) return whyNoMovie(movie);
    return std::nullopt;
}

}  // namespace sondex::inside
