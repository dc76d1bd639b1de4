#include <vector>

#include "mp4/AbsoluteOffsets.h"
#include "mp4/ChunkOffsets.h"
#include "mp4/Container.h"
#include "mp4/HeaderBoxes.h"

/// The order of the boxes of the file: the movie box ahead of the media data.
namespace MP4 {

bool Container::moovFirst() {
    readAgainIfTouched();
    if (!root || moov == nullptr) return false;
    std::vector<const BOX*> order;
    const BOX* held = nullptr;
    for (const auto& box : root->children) {
        if (box->type == MDAT::code) {
            held = box.get();
            continue;
        }
        order.push_back(box.get());
        if (box.get() != moov) continue;
        if (held == nullptr) return false;
        order.push_back(held);
    }
    const auto distance = static_cast<std::int64_t>(moov->size());
    const auto copy = [&](BinFile& src, BinFile& dst, unsigned long long& insertAt) {
        for (const BOX* box : order) {
            if (!box->copyTo(src, dst)) return false;
        }
        insertAt = dst.tell();
        return true;
    };
    // A movie box that was the last of its file may have left its size open.
    const auto closeMovie = [&](Container& fresh, BinFile& file) {
        return fresh.moov != nullptr && fresh.moov->sizeFits(moov->size()) &&
               fresh.moov->size(file, moov->size());
    };
    const auto shiftAll = [&](Container& fresh, BinFile& file) {
        const auto fits = [&](std::uint64_t offset, std::uint64_t largest) {
            return largest - offset >= static_cast<std::uint64_t>(distance);
        };
        return ChunkOffsets::all(*fresh.root, ChunkOffsets::movieTracks, file, fits) &&
               fresh.modifySTCOIndex(file, distance);
    };
    return modifyContainer(L"moovFirst", copy, closeMovie, shiftAll);
}

bool Container::servesMoovFirst() const {
    if (!parsedWhole || moov == nullptr || mdat == nullptr) return false;
    if (mdat->end() != moov->start || !moov->sizeFits(moov->size())) return false;
    std::uint64_t end = 0;
    for (const auto& box : root->children) {
        const bool second = (box->type == moov->type && box.get() != moov) ||
                            (box->type == mdat->type && box.get() != mdat);
        if (second || box->start != end) return false;
        end = box->end();
    }
    if (end != root->size()) return false;
    if (ChunkOffsets::tables(*this, ChunkOffsets::movieTracks) == 0) return false;
    if (ChunkOffsets::tables(*this, ChunkOffsets::spatialTrack) > 0) return false;
    bool inside = false;
    open([&](WEKU::FileIO& opened) {
        BinFile file(opened);
        const auto inMediaData = [&](std::uint64_t offset, std::uint64_t largest) {
            return offset >= mdat->start && offset < mdat->end() &&
                   largest - offset >= moov->size();
        };
        inside = end == file.fileLength() && AbsoluteOffsets::inTheWay(file, true) == 0 &&
                 ChunkOffsets::all(*root, ChunkOffsets::movieTracks, file, inMediaData);
    });
    return inside;
}

bool Container::isMdatFirst() const {
    return root && !root->children.empty() && moov == nullptr;
}

}  // namespace MP4
