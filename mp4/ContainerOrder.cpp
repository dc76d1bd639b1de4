#include <algorithm>

#include "mp4/AbsoluteOffsets.h"
#include "mp4/ChunkOffsets.h"
#include "mp4/Container.h"
#include "support/Console.h"
#include "support/WideText.h"

/// The order of the boxes of the file: the movie box ahead of the media data.
namespace MP4 {
namespace {

/// The first box with media data that stands ahead of the movie box, or null.
const BOX* mediaAhead(const Container& movie) {
    for (const auto& box : movie.root->children) {
        if (box.get() == movie.moov) break;
        if (box->isMedia()) return box.get();
    }
    return nullptr;
}

/// Why the movie box cannot change places with all from the offset `at` to it, or null.
const char* obstacle(const Container& movie, std::uint64_t at, BinFile& file) {
    const BOX& moov = *movie.moov;
    if (moov.end() > file.fileLength()) return "its movie box is cut off";
    if (!moov.sizeFits(moov.size())) return "its movie box is too large for a size of 32 bits";
    if (ChunkOffsets::tables(movie, ChunkOffsets::movieTracks) == 0) return "it has no samples";
    const auto canFollow = [&](std::uint64_t offset, std::uint64_t largest) {
        const bool inside = offset >= moov.start && offset < moov.end();
        const bool moves = offset >= at && offset < moov.start;
        return !inside && (!moves || largest - offset >= moov.size());
    };
    // Of the movie box that counts: another may have been cut off.
    const bool follow = ChunkOffsets::all(static_cast<const NestedBox&>(moov), ChunkOffsets::track,
                                          file, canFollow) &&
                        ChunkOffsets::all(*movie.root, ChunkOffsets::spatialTrack, file, canFollow);
    return follow ? nullptr
                  : "a chunk offset is damaged, leads into the movie box or would leave its width";
}

}  // namespace

bool Container::startsFast() const {
    return moov != nullptr && mediaAhead(*this) == nullptr;
}

bool Container::moovFirst() {
    readAgainIfTouched();
    if (moov == nullptr || startsFast()) return false;
    const std::uint64_t at = mediaAhead(*this)->start;
    const std::uint64_t from = moov->start, size = moov->size();
    const auto copy = [&](BinFile& src, BinFile& dst, unsigned long long& insertAt) {
        if (const char* reason = obstacle(*this, at, src)) {
            WEKU::Console::warn("%s: %s", WEKU::wchar::narrow(path).c_str(), reason);
            return false;
        }
        if (!AbsoluteOffsets::keptBy(src, true)) return false;
        src.moveTo(0);
        if (!src.copyAll(dst, at) || !moov->copyTo(src, dst)) return false;
        src.moveTo(at);
        if (!src.copyAll(dst, from - at)) return false;
        src.moveTo(from + size);
        if (!src.copyAll(dst, src.fileLength() - from - size)) return false;
        insertAt = dst.tell();
        return true;
    };
    // A movie box that was the last of its file may have left its size open. One that an edit left
    // behind has chunk offsets of its own.
    const auto settle = [&](Container& fresh, BinFile& file) {
        if (fresh.moov == nullptr || !fresh.moov->size(file, size)) return false;
        return std::all_of(
            fresh.root->children.begin(), fresh.root->children.end(), [&](const auto& box) {
                file.moveTo(box->start + 4);
                const bool isLeft = box->type == moov->type && box.get() != fresh.moov;
                return !isLeft || file.put("free");
            });
    };
    const auto shift = [&](Container& fresh, BinFile& file) {
        return ChunkOffsets::shift(fresh, file, [&](std::uint64_t offset) {
            return static_cast<std::int64_t>(offset >= at && offset < from ? size : 0);
        });
    };
    return modifyContainer(L"moovFirst", copy, settle, shift);
}

bool Container::isMdatFirst() const {
    return root && !root->children.empty() && moov == nullptr;
}

}  // namespace MP4
