#include "mp4/SplicePlan.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "mp4/AbsoluteOffsets.h"
#include "support/Endian.h"

namespace MP4 {

void SplicePlan::replace(const BOX& box, std::uint64_t at, std::uint64_t removed,
                         std::string bytes) {
    const auto [place, isNew] = splices.try_emplace(at, Splice{removed, std::move(bytes)});
    sound = sound && isNew;
    if (place->second.growth() == 0) return;
    for (const BOX* around = &box; around != nullptr && around->depth >= 0;
         around = around->parent) {
        growth[around] += place->second.growth();
        sound = sound && at >= around->start && at + removed <= around->end();
    }
}

bool SplicePlan::finish(std::uint64_t fileLength) {
    for (const auto& [box, by] : growth) {
        if (by == 0) continue;
        const std::uint64_t newSize = box->size() + static_cast<std::uint64_t>(by);
        std::string field(box->largeSize ? 8 : 4, '\0');
        if (box->largeSize) {
            WEKU::storeBig<std::uint64_t>(field.data(), newSize);
        } else {
            WEKU::storeBig<std::uint32_t>(field.data(), static_cast<std::uint32_t>(newSize));
        }
        const std::uint64_t at = box->start + (box->largeSize ? 8 : 0);
        const bool fits = box->sizeFits(newSize) && !box->openEnded && box->end() <= fileLength;
        sound = sound && fits && splices.try_emplace(at, Splice{field.size(), field}).second;
    }
    std::uint64_t last = 0;
    for (const auto& [at, splice] : splices) {
        sound = sound && at >= last && at <= fileLength && splice.removed <= fileLength - at;
        if (!sound) return false;
        last = at + splice.removed;
        moves.push_back({last, (moves.empty() ? 0 : moves.back().by) + splice.growth()});
    }
    return true;
}

Container::Copy SplicePlan::copy() const {
    return [this](BinFile& src, BinFile& dst, unsigned long long& insertAt) {
        for (const auto& [at, splice] : splices) {
            if (!src.copyAll(dst, at - src.tell()) || !dst.put(splice.bytes)) return false;
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

Container::Edit SplicePlan::edit() const {
    return [this](BinFile& file) {
        auto next = splices.begin();
        while (next != splices.end()) {
            const std::uint64_t start = next->first;
            std::uint64_t place = start;
            std::int64_t by = 0;
            std::string bytes;
            do {
                std::string between(next->first - place, '\0');
                auto* raw = reinterpret_cast<unsigned char*>(between.data());
                if (file.readAt(place, raw, between.size()) != between.size()) return false;
                bytes += between + next->second.bytes;
                place = next->first + next->second.removed;
                by += next->second.growth();
                ++next;
            } while (next != splices.end() && by != 0);
            if (by != 0) return false;
            file.moveTo(start);
            if (!file.put(bytes)) return false;
        }
        return true;
    };
}

Container::Fix SplicePlan::fixOffsets() const {
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

}  // namespace MP4
