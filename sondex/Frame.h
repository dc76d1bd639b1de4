#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "sondex/Facts.h"
#include "sondex/Result.h"

/// Pictures out of a movie. They count from 0 in the order in which they are shown, and their times
/// from the first; what an edit list hides at the beginning does not count.
namespace sondex {

/// At most one is set; with none it is the first picture that decodes.
struct FrameChoice {
    /// The picture that is shown so many seconds behind the first.
    std::optional<double> at = {};
    std::optional<std::uint64_t> number = {};
    /// The first picture, and the one that is shown each so many seconds behind it; none twice.
    std::optional<double> every = {};
};

enum class FrameFormat { rgb, jpeg, png };

struct FrameOptions {
    FrameFormat format = FrameFormat::jpeg;
    /// Pixels, as the picture is shown; the height follows. 0: as it is coded.
    std::uint32_t width = 0;
    /// Of a JPEG, 1 to 100.
    int quality = 95;
    /// A JPEG says what the movie says of it: Exif (camera, time, position) and, where the movie is
    /// equirectangular, the panorama's properties in XMP.
    bool describe = true;
    /// So many pictures are scaled and encoded at a time, on threads of their own from 2 on.
    unsigned threads = 1;
    /// As Options::log.
    std::function<void(std::string_view line)> log = {};
};

/// A picture, scaled and turned as the movie says that it is to be shown.
struct Frame {
    std::uint64_t number = 0;
    /// Seconds behind the first.
    double time = 0;
    Size size;
    /// Of pixels: bytes from one row to the next.
    std::size_t stride = 0;
    /// Pixels of three bytes, red, green and blue; or the encoded picture.
    std::string bytes;
};

/// One picture, decoded from the key picture ahead of it.
[[nodiscard]] Result<Frame> readFrame(std::string_view path, const FrameChoice& choice = {},
                                      const FrameOptions& options = {});

/// Hands each picture to `take`, in their order, until there are no more or it returns false. What
/// it throws comes out of the call. After an error the pictures that were handed over stand.
[[nodiscard]] Status readFrames(std::string_view path, const FrameChoice& choice,
                                const FrameOptions& options,
                                const std::function<bool(Frame&&)>& take);

}  // namespace sondex
