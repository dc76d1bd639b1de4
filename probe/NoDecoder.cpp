#include "probe/VideoReader.h"

// What stands behind the seam in a build without FFmpeg.
bool VideoReader::describeSource(const MP4::Container& movie, const WEKU::FileIO& file,
                                 VideoFacts& facts) {
    return describeHeaders(movie, file, facts);
}

VideoFacts::Trouble VideoReader::capture(const MP4::Container&, const WEKU::FileIO&,
                                         SondexFrameWish,
                                         const std::function<bool(const SondexFrame&)>&) {
    return VideoFacts::Trouble::noDecoder;
}
