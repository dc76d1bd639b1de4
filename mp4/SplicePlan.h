#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "mp4/Container.h"

namespace MP4 {

/// A change of a movie as a list of places whose bytes are replaced by others, the size fields of
/// all boxes around them included: the whole new file follows from the source in one pass.
class SplicePlan {
  public:
    /// Replaces `removed` bytes at the file offset `at`, which lies inside `box`.
    void replace(const BOX& box, std::uint64_t at, std::uint64_t removed, std::string bytes);

    /// Adds the size fields of the boxes whose size changes. False when one cannot hold its new
    /// size or the places overlap, as they can in a damaged tree; the plan is then of no use.
    [[nodiscard]] bool finish(std::uint64_t fileLength);

    /// The steps of the rewrite, for Container::modifyContainer.
    Container::Copy copy() const;
    Container::Fix fixOffsets() const;

    /// The same change in place, for a plan in which what grows is next to what shrinks by as
    /// much: each such stretch is written over in one write.
    Container::Edit edit() const;

    /// How far the byte at an offset of the source moves; for a finished plan.
    std::int64_t distance(std::uint64_t offset) const;

  private:
    struct Splice {
        std::uint64_t removed;
        std::string bytes;

        std::int64_t growth() const {
            return static_cast<std::int64_t>(bytes.size()) - static_cast<std::int64_t>(removed);
        }
    };

    /// From an offset of the source on, every byte moves so far.
    struct Move {
        std::uint64_t from;
        std::int64_t by;
    };

    /// By file offset.
    std::map<std::uint64_t, Splice> splices;
    /// By how much each box grows.
    std::map<const BOX*, std::int64_t> growth;
    /// In ascending order: a table of millions of chunk offsets asks for each of them.
    std::vector<Move> moves;
    bool sound = true;
};

}  // namespace MP4
