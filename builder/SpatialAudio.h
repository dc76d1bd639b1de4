#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "mp4/Container.h"
#include "mp4/SampleTable.h"

/// The camera's spatial sound: a track of its own inside a uuid box, whose samples lie somewhere in
/// the movie's media data. A cut of it gets media data of its own, with the same sample bytes.
class SpatialAudio {
  public:
    /// The samples that sound from the second `from` of the movie's time line on, for so long.
    /// Nothing when the movie has no such track or it is silent then; throws a Refusal when its
    /// tables are damaged. `movie` outlives this.
    static std::optional<SpatialAudio> cut(const MP4::Container& movie, double from,
                                           double seconds);

    /// Puts the next chapter's behind this. Throws a Refusal when it is coded otherwise.
    void join(const SpatialAudio& next);

    /// Seconds for which it sounds.
    double seconds() const;

    /// Writes the media-data box at the position of `file`, and says where its first sample is.
    bool writeMedia(WEKU::FileIO& file, std::uint64_t& firstSample) const;
    /// The uuid box, for samples that begin at the offset. Durations are in the movie's time scale.
    std::string box(std::uint64_t firstSample, std::uint32_t movieTimeScale) const;

  private:
    using Table = MP4::SampleTable;

    /// Samples that lie one behind the other.
    struct Piece {
        const MP4::Container* movie;
        std::uint64_t offset;
        std::uint64_t bytes;
        std::uint32_t samples;
        std::uint32_t description;
    };
    /// What is shown: nothing for a time, or the samples from a media time on.
    struct Shown {
        double seconds;
        std::int64_t mediaTime;
    };

    void take(const MP4::Container& movie, const Table& table, std::uint64_t begin,
              std::uint64_t end);
    std::uint64_t mediaBytes() const;
    std::uint64_t mediaTime() const;
    std::string editList(std::uint32_t movieTimeScale) const;
    std::string tables(std::uint64_t firstSample) const;
    std::string rebuilt(const MP4::NestedBox& box, std::uint64_t firstSample,
                        std::uint32_t movieTimeScale) const;

    const MP4::Container* origin = nullptr;
    const MP4::NestedBox* track = nullptr;
    /// How the samples are coded, as bytes.
    std::string descriptions;
    std::uint32_t timeScale = 1;
    std::vector<Piece> pieces;
    std::vector<Table::Run> durations;
    std::uint32_t sameSize = 0;
    std::vector<std::uint32_t> sizes;
    std::uint64_t samples = 0;
    std::vector<Shown> shown;
};
