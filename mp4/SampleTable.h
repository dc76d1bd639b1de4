#pragma once

#include <cstdint>
#include <vector>

#include "mp4/Container.h"

namespace MP4 {

/// A track's samples as its tables list them (ISO/IEC 14496-12): where they lie in the file, when
/// they are decoded and when they are shown. Times are in units of the media's time scale.
///
/// The tables are held as compactly as the file has them: an hour of uncompressed sound is some
/// thousand chunks, not a hundred million samples.
class SampleTable {
  public:
    struct Chunk {
        std::uint64_t offset;
        std::uint64_t firstSample;
        std::uint32_t samples;
        /// Counts from 1, as the file does.
        std::uint32_t description;
    };
    /// So many samples, each of which lasts or is shown later by `value`.
    struct Run {
        std::uint32_t samples;
        std::int64_t value;
    };
    /// One entry of the edit list.
    struct Edit {
        static constexpr std::int64_t nothing = -1;
        /// In units of the movie's time scale.
        std::uint64_t duration;
        /// The media time that is shown first, or `nothing`.
        std::int64_t mediaTime;
    };
    struct Sample {
        std::uint64_t offset;
        std::uint64_t decodeTime;
        std::uint32_t size;
        std::int32_t shift;

        std::int64_t shownAt() const { return static_cast<std::int64_t>(decodeTime) + shift; }
    };

    /// Reads the tables of a track of the movie. Throws a WEKU::Failure that says what is wrong
    /// with them: they contradict each other, end early or name bytes that the file does not hold.
    /// `file` is the movie, open.
    static SampleTable read(const Container& movie, const NestedBox& track, BinFile& file);
    /// The edit list of a track alone, also of a fragmented movie; empty when there is none.
    static std::vector<Edit> editsOf(const NestedBox& track, BinFile& file);

    std::uint32_t sizeOf(std::uint64_t sample) const {
        return sameSize != 0 ? sameSize : sizes[sample];
    }
    /// The samples one by one, in decoding order. Throws when there are more than a list of them
    /// may cost for a file of this length.
    std::vector<Sample> samples() const;
    /// The duration of the first `count` samples.
    std::uint64_t decodeTimeOf(std::uint64_t count) const;
    /// The media time that is shown at the beginning of the movie, when the first entry of the
    /// edit list that shows anything begins.
    std::int64_t shownFirst() const;
    /// The time ahead of that entry in seconds.
    double startsAfter() const;

    std::uint64_t sampleCount = 0;
    /// The size of every sample, or 0 when `sizes` lists them.
    std::uint32_t sameSize = 0;
    std::vector<std::uint32_t> sizes;
    std::vector<Chunk> chunks;
    std::vector<Run> durations;
    std::vector<Run> shifts;
    /// Numbers from 0; without a list every sample is one that decoding can begin with.
    std::vector<std::uint32_t> syncSamples;
    bool everySampleIsSync = true;
    std::vector<Edit> edits;
    std::uint32_t timeScale = 0;
    std::uint32_t movieTimeScale = 0;
    std::uint64_t fileLength = 0;
};

/// The positions of the samples in the order in which they are shown.
std::vector<std::uint32_t> shownOrder(const std::vector<SampleTable::Sample>& samples);

}  // namespace MP4
