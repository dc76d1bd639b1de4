#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "mp4/Container.h"
#include "mp4/SplicePlan.h"

namespace MP4 {

/// Moves the movie box to other room of its file: into spare boxes, or behind the last box. The
/// new one is whole and on the disk before the old one's type becomes "free", so that the file
/// holds an old or a new movie at every moment; of two movie boxes readers take the first. The
/// media data stays where it is, and so cost what the movie box is long and not the file.
class MovieRoom {
  public:
    /// `plan` is finished and changes the movie box alone (see staysWithin). Both must outlive
    /// this.
    MovieRoom(const Container& movie, const SplicePlan& plan) : movie(movie), plan(plan) {}

    /// Whether media data begins in the movie box, where a change may be one of its bytes.
    [[nodiscard]] bool holdsMedia(BinFile& file) const;

    /// Looks for room, without writing; false, with the reason, where there is none.
    [[nodiscard]] bool find(BinFile& file);
    const char* refusal() const { return reason; }

    /// Moves the box, for Container::modifyContainer: false before the new movie is whole, true
    /// from then on.
    bool move(BinFile& file);

    /// True when the box is to go behind the last one and would then fit into what it left: the
    /// file would grow further with every edit.
    bool wantsCompaction() const;

    /// Lets only spare boxes serve, and cuts off what stands from `length` on if all of that is
    /// spare when the box has moved.
    void compactTo(std::uint64_t length) { cutAt = length; }

  private:
    /// Neighbouring boxes of the file that hold nothing.
    struct Run {
        std::vector<const BOX*> boxes;
        std::uint64_t start = 0;
        std::uint64_t end = 0;
        std::uint64_t length() const { return end - start; }
    };

    bool refuse(const char* why);
    bool isDead(const BOX& box) const;
    bool readLayout(BinFile& file);
    bool pointsInto(BinFile& file, std::uint64_t from, std::uint64_t to) const;
    void chooseRun(BinFile& file);
    bool merge(BinFile& file) const;
    bool fill(BinFile& file) const;
    bool append(BinFile& file);
    bool retire(BinFile& file) const;
    bool retireOthers(BinFile& file) const;

    const Container& movie;
    const SplicePlan& plan;
    const char* reason = nullptr;
    std::uint64_t cutAt = 0;

    /// The new movie box, and boxes that come with it.
    std::string moved, added;
    /// Boxes of the top level that are to become free.
    std::vector<const BOX*> gone;
    std::vector<Run> runs;
    const Run* chosen = nullptr;
    std::uint64_t spareBytes = 0;
    bool mayAppend = false;
    /// Behind the last box that counts; what stands there is left of an edit that was cut off.
    std::uint64_t tail = 0;
};

}  // namespace MP4
