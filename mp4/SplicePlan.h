#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "mp4/Container.h"

namespace MP4 {

/// A change of a movie as a list of places whose bytes are replaced by others, the size fields of
/// all boxes around them included: the whole new file follows from the source in one pass. The
/// boxes named are those of the tree of the container that is to be changed. Changes that
/// contradict each other are found by `finish`.
class SplicePlan {
  public:
    /// Whole boxes behind `box`, inside the one that holds it. Several go in the order in which
    /// they were asked for.
    void insertBehind(const BOX& box, std::string bytes);
    /// Whole boxes ahead of the first that `parent` holds.
    void insertFirst(const NestedBox& parent, std::string bytes);
    /// Whole boxes in place of `box`.
    void replace(const BOX& box, std::string bytes);
    void remove(const BOX& box) { replace(box, {}); }

    /// Replaces `removed` bytes at the file offset `at`, which lies inside `box`.
    void replace(const BOX& box, std::uint64_t at, std::uint64_t removed, std::string bytes);

    /// Adds the size fields of the boxes whose size changes. False when one cannot hold its new
    /// size or the places overlap, as they can in a damaged tree; the plan is then of no use and
    /// `refusal` says why.
    [[nodiscard]] bool finish(std::uint64_t fileLength);
    const char* refusal() const { return reason; }

    bool isEmpty() const { return splices.empty(); }

    /// The steps of the rewrite of a finished plan, for Container::modifyContainer.
    Container::Copy copy() const;
    Container::Fix fixOffsets() const;

    /// Bytes of the file that a finished plan writes over, where nothing else moves.
    struct Stretch {
        std::uint64_t at;
        std::string bytes;
    };
    /// The stretches of a plan in which what grows is next to what shrinks by as much, each
    /// without the bytes at its ends that stay as they are; false for another plan, for one with
    /// more between what grows and what shrinks than is worth a look, or when the file cannot be
    /// read.
    bool stretches(const BinFile& file, std::vector<Stretch>& found) const;
    /// The same change in place, a write a stretch.
    Container::Edit edit() const;

    /// True when a finished plan changes nothing but this box of the top level, adds nothing but to
    /// it and behind the end of the file, and removes whole boxes of the top level, which are put
    /// into `gone`.
    bool staysWithin(const BOX& box, std::vector<const BOX*>& gone) const;
    /// What a finished plan makes of the box; false when the file cannot be read.
    bool bytesOf(const BOX& box, const BinFile& file, std::string& bytes) const;
    /// What it adds behind the end of the file.
    std::string appended() const;

    /// How far the byte at an offset of the source moves; for a finished plan.
    std::int64_t distance(std::uint64_t offset) const;

  private:
    struct Insertion {
        /// Of the box that holds the new bytes: -1 for the file.
        std::int32_t depth;
        std::string bytes;
    };
    struct Splice {
        /// Bytes ahead of those that are replaced, the innermost first: what ends one box stands
        /// ahead of what follows behind it.
        std::vector<Insertion> ahead;
        std::uint64_t removed = 0;
        std::string instead;

        std::string inserted(std::int32_t leastDepth) const;
        std::string bytes() const { return inserted(-1) + instead; }
        std::int64_t growth() const;
    };

    /// From an offset of the source on, every byte moves so far.
    struct Move {
        std::uint64_t from;
        std::int64_t by;
    };

    void refuse(const char* why);
    void grow(const BOX& box, std::uint64_t at, std::uint64_t removed, std::int64_t by);
    void overwrite(std::uint64_t at, std::uint64_t removed, std::string bytes);
    void setSize(const BOX& box, std::int64_t by);

    /// By file offset.
    std::map<std::uint64_t, Splice> splices;
    /// By how much each box grows.
    std::map<const BOX*, std::int64_t> growth;
    /// Boxes without an end of their own behind which something is to stand.
    std::set<const BOX*> closed;
    /// In ascending order: a table of millions of chunk offsets asks for each of them.
    std::vector<Move> moves;
    std::uint64_t length = 0;
    /// The one box of the top level in which all changes lie; `scattered` when there is none.
    const BOX* within = nullptr;
    bool scattered = false;
    const char* reason = nullptr;
};

}  // namespace MP4
