#include "mp4/PlanRoads.h"

#include "mp4/LocationBoxes.h"
#include "mp4/MovieRoom.h"

namespace MP4 {
namespace {

constexpr std::uint64_t sector = 512;

/// Whether one write of a sector decides the change.
bool fitsInPlace(const SplicePlan& plan, const BinFile& file) {
    std::vector<SplicePlan::Stretch> found;
    if (!plan.stretches(file, found) || found.size() > 1) return false;
    if (found.empty()) return true;
    const auto& [at, bytes] = found.front();
    return at / sector == (at + bytes.size() - 1) / sector;
}

/// Moves the movie box back into the room that it left, with what was added behind it: with nothing
/// else to do, this costs the movie box once more and keeps the file from growing with every edit.
void compact(Container& movie, std::uint64_t lengthBefore) {
    if (movie.root == nullptr || movie.moov == nullptr) return;
    SplicePlan again;
    std::string along;
    for (const auto& box : movie.root->children) {
        if (box->start < movie.moov->end() || box->isSpare()) continue;
        if (box->isMedia() || box->largeSize) return;
        along += boxOf(box->type, movie.payload(*box));
        again.remove(*box);
    }
    if (!along.empty()) again.insertBehind(*movie.root->children.back(), along);
    if (!again.finish(movie.root->size())) return;
    MovieRoom room(movie, again);
    room.compactTo(lengthBefore);
    bool serves = false;
    movie.open([&](WEKU::FileIO& opened) {
        BinFile file(opened);
        serves = room.find(file);
    });
    if (!serves) return;
    // The edit itself is done, whatever becomes of this.
    static_cast<void>(
        movie.modifyContainer(L"compact", [&](BinFile& file) { return room.move(file); }));
}

}  // namespace

bool carryOut(Container& movie, const wchar_t* name, SplicePlan& plan, Road road,
              std::string& reason) {
    if (movie.root == nullptr) {
        reason = "its boxes have not been read";
        return false;
    }
    const std::uint64_t length = movie.root->size();
    if (!plan.finish(length)) {
        reason = plan.refusal();
        return false;
    }
    const bool elsewhere = !movie.outputPath.empty();
    MovieRoom room(movie, plan);
    bool harms = false, inPlace = false, moves = false;
    movie.open([&](WEKU::FileIO& opened) {
        BinFile file(opened);
        harms = room.holdsMedia(file);
        if (harms) return;
        inPlace = !elsewhere && fitsInPlace(plan, file);
        moves = !elsewhere && road != Road::rewrite && road != Road::inPlace &&
                (!inPlace || road == Road::movieRoom) && room.find(file);
    });
    if (harms) {
        reason = "media data lies in its movie box";
        return false;
    }
    if (road == Road::inPlace && !inPlace) {
        reason = "the change does not keep its room, or takes more than one write";
        return false;
    }
    if (road == Road::movieRoom && !moves) {
        reason = elsewhere ? "the result goes to another file" : room.refusal();
        return false;
    }
    if (inPlace && road != Road::rewrite && road != Road::movieRoom) {
        return movie.modifyContainer(name, plan.edit());
    }
    if (moves) {
        const bool compacts = room.wantsCompaction();
        if (!movie.modifyContainer(name, [&](BinFile& file) { return room.move(file); })) {
            return false;
        }
        if (compacts) compact(movie, length);
        return true;
    }
    return movie.modifyContainer(
        name, plan.copy(), [](Container&, BinFile&) { return true; }, plan.fixOffsets());
}

}  // namespace MP4
