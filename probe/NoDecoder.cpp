#include "probe/VideoReader.h"

// What stands behind the seam in a build without FFmpeg.
bool VideoReader::describeSource(const MP4::Container& movie, const WEKU::FileIO& file,
                                 VideoFacts& facts) {
    return describeHeaders(movie, file, facts);
}
