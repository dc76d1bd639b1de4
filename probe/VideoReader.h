#pragma once

#include <functional>

#include "mp4/Container.h"
#include "probe/DecoderInterface.h"
#include "support/FileIO.h"

/// What a movie's first video track shows.
struct VideoFacts {
    /// Size of the first picture in pixels; -1 when none could be decoded.
    double width = -1;
    double height = -1;
    /// Pictures a second: the track's pictures divided by its duration; 0 when either is unknown.
    float nominalFrameRate = 0;

    /// Why there is no picture.
    enum class Trouble {
        none,
        noDecoder,
        unreadable,
        noTrack,
        tooLarge,
        foreignCodec,
        tooCostly,
        undecodable,
        pastEnd,
        unwritable,
        stopped
    };
    Trouble trouble = Trouble::none;
};

/// The seam behind which pictures are decoded. The build picks what stands behind it: FFmpeg, or
/// the headers' word (cmake/VideoReader.cmake).
namespace VideoReader {

/// Describes the first video track, attached pictures not counted. `file` is the file whose boxes
/// `movie` holds, open. False, with a line on standard error, when the movie cannot be opened or
/// has no video track; true whether or not a picture could be decoded.
[[nodiscard]] bool describeSource(const MP4::Container& movie, const WEKU::FileIO& file,
                                  VideoFacts& facts);

/// The same, but takes the word of the track's tables and of its first sample entry.
[[nodiscard]] bool describeHeaders(const MP4::Container& movie, const WEKU::FileIO& file,
                                   VideoFacts& facts);

/// Hands the pictures that are wished for to `take`, in their order and until it returns false;
/// where the edit list begins is found here. Returns why not all of them were: that of `stopped` is
/// known to the caller. `take` must not throw.
[[nodiscard]] VideoFacts::Trouble capture(const MP4::Container& movie, const WEKU::FileIO& file,
                                          SondexFrameWish wish,
                                          const std::function<bool(const SondexFrame&)>& take);

}  // namespace VideoReader
