#include "mp4/ChunkOffsets.h"

#include <algorithm>
#include <vector>

#include "mp4/SampleTableBoxes.h"
#include "support/Endian.h"

namespace MP4::ChunkOffsets {
namespace {

/// Visits the blocks of a table: `visit(offsets, place in the file)`, where a false ends the walk.
template <class Entry, class Visit>
bool walkTable(const STCO& table, BinFile& file, Visit visit) {
    constexpr std::uint64_t perBlock = 65536 / sizeof(Entry);
    const std::uint64_t end = table.innermostEnd(file.fileLength());
    const std::uint64_t held =
        table.entriesOffset <= end ? (end - table.entriesOffset) / sizeof(Entry) : 0;
    std::uint64_t left = std::min<std::uint64_t>(table.entryCount, held);
    std::uint64_t place = table.entriesOffset;
    std::vector<Entry> block;
    while (left > 0) {
        block.resize(std::min(left, perBlock));
        const std::uint64_t bytes = block.size() * sizeof(Entry);
        auto* raw = reinterpret_cast<unsigned char*>(block.data());
        if (file.readAt(place, raw, bytes) != bytes) return false;
        for (Entry& entry : block)
            entry = WEKU::loadBig<Entry>(&entry);
        if (!visit(block, place)) return false;
        place += bytes;
        left -= block.size();
    }
    return true;
}

template <class Entry, class Visit>
bool walkTables(const NestedBox& tree, const std::string& path, BinFile& file, Visit visit) {
    bool good = true;
    tree.find(path.c_str(), [&](BOX& box) {
        good = good && visit(static_cast<STCO&>(box), file);
        return good;
    });
    return good;
}

template <class Entry>
bool allOf(const NestedBox& tree, const std::string& path, BinFile& file,
           const std::function<bool(std::uint64_t, std::uint64_t)>& accept) {
    return walkTables<Entry>(tree, path, file, [&](const STCO& table, BinFile& open) {
        const std::uint64_t bytes = std::uint64_t{table.entryCount} * sizeof(Entry);
        const std::uint64_t end = table.innermostEnd(open.fileLength());
        if (table.entriesOffset > end || end - table.entriesOffset < bytes) return false;
        return walkTable<Entry>(table, open, [&](const std::vector<Entry>& block, std::uint64_t) {
            return std::all_of(block.begin(), block.end(), [&](Entry entry) {
                return accept(entry, std::uint64_t{static_cast<Entry>(-1)});
            });
        });
    });
}

template <class Entry>
bool rewriteOf(const Container& movie, const std::string& path, BinFile& file,
               const Change& change) {
    return walkTables<Entry>(*movie.root, path, file, [&](const STCO& table, BinFile& open) {
        return walkTable<Entry>(table, open, [&](std::vector<Entry>& block, std::uint64_t place) {
            for (Entry& entry : block) {
                WEKU::storeBig<Entry>(&entry, static_cast<Entry>(change(entry)));
            }
            open.moveTo(place);
            return open.put(reinterpret_cast<const unsigned char*>(block.data()),
                            block.size() * sizeof(Entry));
        });
    });
}

}  // namespace

std::size_t tables(const Container& movie, const std::string& prefix) {
    std::size_t count = 0;
    for (const char* code : {".stco", ".co64"}) {
        movie.find((prefix + code).c_str(), [&](BOX&) { return ++count, true; });
    }
    return count;
}

bool all(const NestedBox& tree, const std::string& prefix, BinFile& file,
         const std::function<bool(std::uint64_t, std::uint64_t)>& accept) {
    return allOf<std::uint32_t>(tree, prefix + ".stco", file, accept) &&
           allOf<std::uint64_t>(tree, prefix + ".co64", file, accept);
}

bool rewrite(const Container& movie, const std::string& prefix, BinFile& file,
             const Change& change) {
    return rewriteOf<std::uint32_t>(movie, prefix + ".stco", file, change) &&
           rewriteOf<std::uint64_t>(movie, prefix + ".co64", file, change);
}

bool shift(const Container& movie, BinFile& file, const Container::Distance& distance) {
    const auto fits = [&](std::uint64_t offset, std::uint64_t largest) {
        const std::int64_t by = distance(offset);
        const auto bits = static_cast<std::uint64_t>(by);
        return by < 0 ? offset >= 0 - bits : largest - offset >= bits;
    };
    const auto moved = [&](std::uint64_t offset) {
        return offset + static_cast<std::uint64_t>(distance(offset));
    };
    for (const char* prefix : {movieTracks, spatialTrack}) {
        if (!all(*movie.root, prefix, file, fits)) return false;
    }
    return rewrite(movie, movieTracks, file, moved) && rewrite(movie, spatialTrack, file, moved);
}

}  // namespace MP4::ChunkOffsets
