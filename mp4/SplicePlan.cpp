#include "mp4/SplicePlan.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "mp4/AbsoluteOffsets.h"
#include "mp4/MetadataBoxes.h"
#include "support/Endian.h"

namespace MP4 {
namespace {

/// A change in place is short; the media data between two changes is not to be read for one.
constexpr std::uint64_t longestStretch = 1 << 20;

/// The fixed bytes between a box's header and its first child.
std::uint64_t prefixOf(const NestedBox& box) {
    if (dynamic_cast<const AVC1*>(&box) != nullptr) return AVC1::fixedBytes;
    if (dynamic_cast<const STSD*>(&box) != nullptr) return 8;
    if (dynamic_cast<const NestedBoxWithVersion*>(&box) != nullptr) return 4;
    if (dynamic_cast<const UUID*>(&box) != nullptr) return UUID::smallest - 8;
    return 0;
}

template <class T>
std::string bigEndian(std::uint64_t value) {
    std::string bytes(sizeof(T), '\0');
    WEKU::storeBig<T>(bytes.data(), static_cast<T>(value));
    return bytes;
}

bool append(std::string& bytes, const BinFile& file, std::uint64_t from, std::uint64_t to) {
    const std::size_t before = bytes.size();
    bytes.resize(before + (to - from));
    auto* raw = reinterpret_cast<unsigned char*>(bytes.data() + before);
    return file.readAt(from, raw, to - from) == to - from;
}

}  // namespace

std::string SplicePlan::Splice::inserted(std::int32_t leastDepth) const {
    std::string bytes;
    for (const Insertion& insertion : ahead) {
        if (insertion.depth >= leastDepth) bytes += insertion.bytes;
    }
    return bytes;
}

std::int64_t SplicePlan::Splice::growth() const {
    return static_cast<std::int64_t>(bytes().size()) - static_cast<std::int64_t>(removed);
}

void SplicePlan::refuse(const char* why) {
    if (reason == nullptr) reason = why;
}

void SplicePlan::insertBehind(const BOX& box, std::string bytes) {
    if (box.openEnded) closed.insert(&box);
    replace(*box.parent, box.end(), 0, std::move(bytes));
}

void SplicePlan::insertFirst(const NestedBox& parent, std::string bytes) {
    const bool isRoot = parent.depth < 0;
    const std::uint64_t at = !parent.children.empty() ? parent.children.front()->start
                             : isRoot                 ? 0
                                      : parent.start + parent.headerLength() + prefixOf(parent);
    replace(parent, at, 0, std::move(bytes));
}

void SplicePlan::replace(const BOX& box, std::string bytes) {
    replace(*box.parent, box.start, box.size(), std::move(bytes));
}

void SplicePlan::grow(const BOX& box, std::uint64_t at, std::uint64_t removed, std::int64_t by) {
    const BOX* outermost = nullptr;
    for (const BOX* around = &box; around != nullptr && around->depth >= 0;
         around = around->parent) {
        outermost = around;
        if (by != 0) growth[around] += by;
        if (at < around->start || at > around->end() || removed > around->end() - at) {
            refuse("the change reaches out of the box around it");
        }
    }
    scattered = scattered || outermost == nullptr || (within != nullptr && within != outermost);
    within = outermost;
}

void SplicePlan::overwrite(std::uint64_t at, std::uint64_t removed, std::string bytes) {
    Splice& splice = splices[at];
    if (splice.removed != 0) refuse("two changes touch the same bytes");
    splice.removed = removed;
    splice.instead = std::move(bytes);
}

void SplicePlan::replace(const BOX& box, std::uint64_t at, std::uint64_t removed,
                         std::string bytes) {
    grow(box, at, removed,
         static_cast<std::int64_t>(bytes.size()) - static_cast<std::int64_t>(removed));
    if (removed > 0) return overwrite(at, removed, std::move(bytes));
    if (bytes.empty()) return;
    auto& ahead = splices[at].ahead;
    const auto behind = std::find_if(ahead.begin(), ahead.end(),
                                     [&](const Insertion& one) { return one.depth < box.depth; });
    ahead.insert(behind, {box.depth, std::move(bytes)});
}

void SplicePlan::setSize(const BOX& box, std::int64_t by) {
    const std::uint64_t newSize = box.size() + static_cast<std::uint64_t>(by);
    if (box.end() > length) refuse("a box around it claims more bytes than the file has");
    if (!box.sizeFits(newSize)) refuse("the size field of a box around it cannot hold more");
    if (box.largeSize) {
        overwrite(box.start + 8, 8, bigEndian<std::uint64_t>(newSize));
    } else {
        overwrite(box.start, 4, bigEndian<std::uint32_t>(newSize));
    }
}

bool SplicePlan::finish(std::uint64_t fileLength) {
    length = fileLength;
    for (const BOX* box : closed)
        growth.try_emplace(box, 0);
    for (const auto& [box, by] : growth) {
        // One that ends with the file still does.
        const bool staysOpen = box->openEnded && closed.count(box) == 0;
        if ((by != 0 && !staysOpen) || closed.count(box) != 0) setSize(*box, by);
    }
    std::uint64_t last = 0;
    std::int64_t moved = 0;
    for (const auto& [at, splice] : splices) {
        if (at < last) refuse("two changes touch the same bytes");
        if (at > fileLength || splice.removed > fileLength - at) {
            refuse("the change reaches behind the end of the file");
        }
        if (reason != nullptr) return false;
        last = at + splice.removed;
        const auto added = static_cast<std::int64_t>(splice.inserted(-1).size());
        if (added != 0) moves.push_back({at, moved + added});
        moved += splice.growth();
        moves.push_back({last, moved});
    }
    return reason == nullptr;
}

Container::Copy SplicePlan::copy() const {
    return [this](BinFile& src, BinFile& dst, unsigned long long& insertAt) {
        for (const auto& [at, splice] : splices) {
            if (!src.copyAll(dst, at - src.tell()) || !dst.put(splice.bytes())) return false;
            src.moveTo(at + splice.removed);
        }
        if (!src.copyAll(dst, src.fileLength() - src.tell())) return false;
        insertAt = dst.tell();
        return true;
    };
}

std::int64_t SplicePlan::distance(std::uint64_t offset) const {
    const auto behind =
        std::upper_bound(moves.begin(), moves.end(), offset,
                         [](std::uint64_t place, const Move& move) { return place < move.from; });
    return behind == moves.begin() ? 0 : std::prev(behind)->by;
}

bool SplicePlan::stretches(const BinFile& file, std::vector<Stretch>& found) const {
    auto next = splices.begin();
    while (next != splices.end()) {
        Stretch stretch{next->first, {}};
        std::uint64_t place = stretch.at;
        std::int64_t by = 0;
        do {
            if (next->first - stretch.at > longestStretch) return false;
            if (!append(stretch.bytes, file, place, next->first)) return false;
            stretch.bytes += next->second.bytes();
            place = next->first + next->second.removed;
            by += next->second.growth();
            ++next;
        } while (next != splices.end() && by != 0);
        std::string old;
        if (by != 0 || !append(old, file, stretch.at, place)) return false;
        const auto differs = std::mismatch(old.begin(), old.end(), stretch.bytes.begin());
        const auto same = differs.first - old.begin();
        const auto behind = std::mismatch(old.rbegin(), old.rend() - same, stretch.bytes.rbegin());
        stretch.at += static_cast<std::uint64_t>(same);
        stretch.bytes.resize(stretch.bytes.size() -
                             static_cast<std::size_t>(behind.first - old.rbegin()));
        stretch.bytes.erase(0, static_cast<std::size_t>(same));
        if (!stretch.bytes.empty()) found.push_back(std::move(stretch));
    }
    return true;
}

Container::Edit SplicePlan::edit() const {
    return [this](BinFile& file) {
        std::vector<Stretch> found;
        if (!stretches(file, found)) return false;
        for (const Stretch& stretch : found) {
            file.moveTo(stretch.at);
            if (!file.put(stretch.bytes)) return false;
        }
        return true;
    };
}

Container::Fix SplicePlan::fixOffsets() const {
    if (splices.empty()) return [](Container&, BinFile&) { return true; };
    if (scattered) {
        // Boxes may move between two changes; what is ahead of the first does not.
        return Container::shiftOffsets(splices.begin()->first,
                                       [this](std::uint64_t offset) { return distance(offset); });
    }
    if (distance(UINT64_MAX) == 0) {
        // What moves lies between the changes, inside the movie box.
        return [this](Container&, BinFile& file) {
            const bool moves = std::any_of(this->moves.begin(), this->moves.end(),
                                           [](const Move& move) { return move.by != 0; });
            return !moves || AbsoluteOffsets::keptBy(file, false);
        };
    }
    const auto& [at, splice] = *splices.rbegin();
    const std::uint64_t end = at + splice.removed;
    return Container::shiftOffsets(end + static_cast<std::uint64_t>(distance(end)),
                                   [this](std::uint64_t offset) { return distance(offset); });
}

bool SplicePlan::staysWithin(const BOX& box, std::vector<const BOX*>& gone) const {
    for (const auto& [at, splice] : splices) {
        const std::uint64_t from = at, to = at + splice.removed;
        if (from < to && (from < box.start || to > box.end())) {
            const auto& top = static_cast<const NestedBox&>(*box.parent).children;
            const auto removed = std::find_if(top.begin(), top.end(), [&](const auto& each) {
                return each->start == from && each->end() == to && !each->isMedia();
            });
            if (removed == top.end() || !splice.instead.empty()) return false;
            gone.push_back(removed->get());
        } else if (from < to && splice.removed == box.size()) {
            return false;
        }
        for (const Insertion& insertion : splice.ahead) {
            const bool inside = insertion.depth >= 0 && at > box.start && at <= box.end();
            if (!inside && !(insertion.depth < 0 && at == length)) return false;
        }
    }
    return true;
}

bool SplicePlan::bytesOf(const BOX& box, const BinFile& file, std::string& bytes) const {
    std::uint64_t place = box.start;
    for (auto next = splices.lower_bound(box.start);
         next != splices.end() && next->first <= box.end(); ++next) {
        if (!append(bytes, file, place, next->first)) return false;
        const bool atEnd = next->first == box.end();
        if (next->first > box.start) bytes += next->second.inserted(0);
        if (!atEnd) bytes += next->second.instead;
        place = next->first + (atEnd ? 0 : next->second.removed);
    }
    return append(bytes, file, place, box.end());
}

std::string SplicePlan::appended() const {
    const auto end = splices.find(length);
    if (end == splices.end()) return {};
    return end->second.bytes().substr(end->second.inserted(0).size());
}

}  // namespace MP4
