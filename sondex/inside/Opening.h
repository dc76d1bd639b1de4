#pragma once

#include <cstdint>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "mp4/Container.h"
#include "sondex/Read.h"
#include "sondex/inside/Lines.h"
#include "support/HeldLines.h"

namespace sondex::inside {

/// What a file's first bytes say that it is.
enum class Kind { movie, jpeg, tiff, other };
Kind kindOf(const MP4::Container& file);

/// Attaches the container to the file and parses its boxes up to the offset `end`; or says why not.
[[nodiscard]] std::optional<Error> attach(MP4::Container& file, std::string_view path,
                                          std::uint64_t end);

/// Why a file without a movie box is no movie.
[[nodiscard]] Error whyNoMovie(const MP4::Container& file);

/// "it looks like ..." for a file that is not what was asked for.
[[nodiscard]] std::string looksLike(const MP4::Container& file);

/// The error of a failed system call.
[[nodiscard]] Error systemError(int number);

/// Opens the file and runs `read(file)`, which gives a Result<T>; again when the file changed
/// under the reading. What is printed meanwhile goes to the caller's log, once.
template <class T, class Read>
Result<T> readFile(std::string_view path, const Options& options, std::uint64_t end, Read&& read) {
    Result<T> result = Error{ErrorCode::outOfMemory, "not enough memory"};
    Lines lines(options);
    try {
        const bool stands = WEKU::repeatUntilItStands(SIZE_MAX, [&] {
            MP4::Container file;
            if (auto error = attach(file, path, end)) {
                result = std::move(*error);
                return true;
            }
            result = read(std::as_const(file));
            return file.isUnchanged();
        });
        if (!stands) result = Error{ErrorCode::changed, "another program keeps changing it"};
    } catch (const std::bad_alloc&) {
    }
    lines.finish();
    return result;
}

}  // namespace sondex::inside
