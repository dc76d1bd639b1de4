#pragma once

#include <optional>
#include <string>
#include <vector>

#include "builder/SampleAlignment.h"
#include "mp4/SampleTable.h"

/// The video samples of one movie.
class VideoSamples {
  public:
    /// Throws a Refusal that names the movie by `role` ("the source"). `movie` outlives this.
    VideoSamples(const MP4::Container& movie, const std::string& role);

    /// What of the samples is compared: all their bytes, or the coded pictures alone. Joining by
    /// way of a byte stream repeats parameter sets inside the samples and adds delimiters.
    enum class Content { samples, pictures };
    /// Nothing when the coding is not one whose pictures can be told from the rest (H.264, H.265).
    std::optional<SampleAlignment::Sequence> sequence(Content content) const;
    std::size_t size() const { return samples.size(); }

    /// Seconds on the movie's time line, where what the edit list shows first is at 0 (or later,
    /// behind an empty edit), of the sample with this number in decoding order.
    double secondsOf(std::size_t sample) const;
    /// The mean duration of a frame in seconds.
    double frameSeconds() const;
    /// The duration of all frames in seconds.
    double seconds() const;
    /// By how much the edit list begins behind the first frame, in seconds.
    double hidden() const;

    const MP4::Container& movie;
    MP4::SampleTable table;
    std::vector<MP4::SampleTable::Sample> samples;
    /// The sample that is shown first, second and so on.
    std::vector<std::uint32_t> shown;
    /// When each sample, in decoding order, is shown: its frame's number.
    std::vector<std::uint32_t> frameOf;

  private:
    /// A stretch of the file that is part of a picture.
    struct Unit {
        std::uint64_t offset;
        std::uint64_t length;
    };
    std::vector<Unit> unitsOf(const WEKU::FileIO& file, std::size_t sample, Content content) const;
    void readCoding();

    /// How the sizes of units are stored (ISO/IEC 14496-15); 0: the coding is another.
    unsigned lengthBytes = 0;
    bool isHevc = false;
};
