#include "mp4/MovieRoom.h"

#include <algorithm>

#include "mp4/AbsoluteOffsets.h"
#include "mp4/ChunkOffsets.h"
#include "mp4/HeaderBoxes.h"
#include "support/Console.h"
#include "support/Endian.h"
#include "support/WideText.h"

namespace MP4 {
namespace {

/// What a disk writes as a whole.
constexpr std::uint64_t sector = 512;
constexpr std::uint64_t smallHeader = 8;

bool isOneSector(std::uint64_t at, std::uint64_t width) {
    return at / sector == (at + width - 1) / sector;
}

std::string header(std::uint64_t size, const char (&type)[5]) {
    std::string bytes(4, '\0');
    WEKU::storeBig<std::uint32_t>(bytes.data(), static_cast<std::uint32_t>(size));
    return bytes + type;
}

bool putAt(BinFile& file, std::uint64_t at, const std::string& bytes) {
    file.moveTo(at);
    return file.put(bytes);
}

bool isZero(const BinFile& file, std::uint64_t from, std::uint64_t to) {
    std::string block;
    while (from < to) {
        block.resize(std::min<std::uint64_t>(to - from, 65536));
        auto* raw = reinterpret_cast<unsigned char*>(block.data());
        if (file.readAt(from, raw, block.size()) != block.size()) return false;
        if (block.find_first_not_of('\0') != std::string::npos) return false;
        from += block.size();
    }
    return true;
}

}  // namespace

bool MovieRoom::refuse(const char* why) {
    reason = why;
    return false;
}

/// Of two movie boxes the first counts; the other is left of an edit that was cut off.
bool MovieRoom::isDead(const BOX& box) const {
    return box.isSpare() || (box.type == MOOV::code && &box != movie.moov);
}

bool MovieRoom::readLayout(BinFile& file) {
    const auto& boxes = movie.root->children;
    const std::uint64_t length = file.fileLength();
    tail = length;
    bool movieAhead = false;
    std::uint64_t end = 0;
    for (const auto& box : boxes) {
        if (box->start != end) return refuse("its boxes do not follow each other");
        end = box->end();
        movieAhead = movieAhead || (box->isMedia() && box->start > movie.moov->start);
        const bool cut = end > length || (box->openEnded && box.get() != movie.moov);
        if (cut && !isDead(*box)) return refuse("its last box has no end");
        if (cut) tail = std::min(tail, box->start);
        if (!isDead(*box)) continue;
        if (cut) break;
        if (runs.empty() || runs.back().end != box->start) runs.push_back({{}, box->start, end});
        runs.back().boxes.push_back(box.get());
        runs.back().end = end;
    }
    if (end < length && !isZero(file, end, length)) {
        return refuse("bytes that are no box stand behind its last box");
    }
    tail = std::min(tail, end);
    mayAppend = !movieAhead;
    // A movie box ahead of the media stays there, so that players need not look for it.
    std::erase_if(runs, [&](const Run& run) {
        return std::any_of(boxes.begin(), boxes.end(), [&](const auto& box) {
            return box->isMedia() && (box->start < run.start) == movieAhead;
        });
    });
    for (const Run& run : runs)
        spareBytes += run.length();
    return true;
}

bool MovieRoom::pointsInto(BinFile& file, std::uint64_t from, std::uint64_t to) const {
    const auto outside = [&](std::uint64_t offset, std::uint64_t) {
        return offset < from || offset >= to;
    };
    // Of the movie box that counts: another may have been cut off.
    const auto& moov = static_cast<const NestedBox&>(*movie.moov);
    return !ChunkOffsets::all(moov, ChunkOffsets::track, file, outside) ||
           !ChunkOffsets::all(*movie.root, ChunkOffsets::spatialTrack, file, outside);
}

bool MovieRoom::holdsMedia(BinFile& file) const {
    return movie.moov != nullptr && pointsInto(file, movie.moov->start, movie.moov->end());
}

void MovieRoom::chooseRun(BinFile& file) {
    const std::uint64_t needed = moved.size() + added.size();
    for (const Run& run : runs) {
        const BOX& first = *run.boxes.front();
        if (run.length() > UINT32_MAX && !first.largeSize) continue;
        if (run.length() < first.headerLength() + needed) continue;
        const std::uint64_t rest = run.length() - first.headerLength() - needed;
        if (rest > 0 && rest < smallHeader) continue;
        const std::uint64_t sizeAt = run.start + (first.largeSize ? 8 : 0);
        if (!isOneSector(sizeAt, first.largeSize ? 8 : 4)) continue;
        if (pointsInto(file, run.start, run.end)) continue;
        chosen = &run;
        return;
    }
}

bool MovieRoom::find(BinFile& file) {
    if (movie.moov == nullptr || movie.moov->start > file.fileLength()) {
        return refuse("it has no movie box");
    }
    if (!plan.staysWithin(*movie.moov, gone)) {
        return refuse("the change reaches beyond the movie box");
    }
    if (!readLayout(file)) return false;
    if (AbsoluteOffsets::inTheWay(file, false) != 0) {
        return refuse("it holds offsets that cannot be kept right");
    }
    const BOX& old = *movie.moov;
    for (const BOX* box : gone) {
        if (pointsInto(file, box->start, box->end())) return refuse("media data lies in a box");
    }
    if (!plan.bytesOf(old, file, moved)) return refuse("its movie box cannot be read");
    added = plan.appended();
    if (moved.size() > UINT32_MAX - 64 || added.size() > UINT32_MAX - 64 - moved.size()) {
        return refuse("the movie box is too large for a size of 32 bits");
    }
    if (old.openEnded) {
        if (old.end() != file.fileLength() || !isOneSector(old.start, 4)) {
            return refuse("its movie box has no end");
        }
        WEKU::storeBig<std::uint32_t>(moved.data(), static_cast<std::uint32_t>(moved.size()));
    }
    chooseRun(file);
    if (chosen != nullptr) return true;
    if (cutAt != 0 || !mayAppend) return refuse("it has no room for another movie box");
    if (pointsInto(file, tail, UINT64_MAX)) return refuse("media data is missing at its end");
    return true;
}

bool MovieRoom::wantsCompaction() const {
    std::uint64_t left = spareBytes + movie.moov->size();
    for (const BOX* box : gone)
        left += box->size();
    return chosen == nullptr && left >= smallHeader + moved.size() + added.size();
}

/// Makes one spare box of the run, on the disk.
bool MovieRoom::merge(BinFile& file) const {
    return chosen->boxes.size() == 1 ||
           (chosen->boxes.front()->size(file, chosen->length()) && file.sync());
}

/// Prepares the new box within a spare one, and uncovers it.
bool MovieRoom::fill(BinFile& file) const {
    if (!merge(file)) return false;
    const BOX& spare = *chosen->boxes.front();
    std::string content = moved + added;
    const std::uint64_t rest = chosen->length() - spare.headerLength() - content.size();
    if (rest > 0) content += header(rest, "free");
    return putAt(file, chosen->start + spare.headerLength(), content) && file.sync() &&
           spare.size(file, spare.headerLength()) && file.sync();
}

/// Writes the new box behind the last one. What comes with it stays covered until all is there.
bool MovieRoom::append(BinFile& file) {
    const std::uint64_t before = file.fileLength();
    if (tail < before && !file.truncate(tail)) return false;
    const BOX& old = *movie.moov;
    if (old.openEnded && (!old.size(file, old.size()) || !file.sync())) return false;
    std::uint64_t cover = tail;
    std::string content = moved;
    if (!added.empty()) {
        content = header(smallHeader + moved.size() + added.size(), "free") + moved + added;
        if (!isOneSector(tail, 4)) {
            content.insert(0, header(smallHeader, "free"));
            cover += smallHeader;
        }
    }
    if (putAt(file, tail, content) && file.sync()) {
        if (added.empty()) return true;
        if (putAt(file, cover, header(smallHeader, "free").substr(0, 4)) && file.sync())
            return true;
    }
    if (!file.truncate(tail)) {
        WEKU::Console::warn("%s: a part of a movie box stays behind its end",
                            WEKU::wchar::narrow(movie.path).c_str());
    }
    return false;
}

/// Whatever reaches the disk of the four bytes, the box is no movie box any more.
bool MovieRoom::retire(BinFile& file) const {
    return putAt(file, movie.moov->start + 4, "free") && file.sync();
}

/// A movie box that an edit left behind would count as soon as the one ahead of it is gone.
bool MovieRoom::retireOthers(BinFile& file) const {
    bool changed = false;
    for (const auto& box : movie.root->children) {
        if (box->type != MOOV::code || box.get() == movie.moov || box->start >= tail) continue;
        changed = true;
        if (!putAt(file, box->start + 4, "free")) return false;
    }
    return !changed || file.sync();
}

bool MovieRoom::move(BinFile& file) {
    if (!retireOthers(file)) return false;
    // A movie box without an end would go on into what follows it.
    if (chosen != nullptr && movie.moov->openEnded &&
        (!movie.moov->size(file, movie.moov->size()) || !file.sync())) {
        return false;
    }
    if (!(chosen != nullptr ? fill(file) : append(file))) return false;
    if (!retire(file)) {
        WEKU::Console::warn("%s holds two movie boxes, of which readers take the first",
                            WEKU::wchar::narrow(movie.path).c_str());
        return false;
    }
    for (const BOX* box : gone) {
        if (putAt(file, box->start + 4, "free") && file.sync()) continue;
        WEKU::Console::warn("%s keeps a box of type '%s' that was to go",
                            WEKU::wchar::narrow(movie.path).c_str(), box->name().c_str());
    }
    // A cut that fails leaves spare boxes and a whole movie.
    if (cutAt != 0) {
        static_cast<void>(file.truncate(std::max(cutAt, chosen->end)) && file.sync());
    }
    return true;
}

}  // namespace MP4
