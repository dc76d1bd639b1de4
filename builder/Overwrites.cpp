#include "builder/Overwrites.h"

#include <algorithm>
#include <utility>

void Overwrites::add(std::uint64_t offset, std::string bytes) {
    all.push_back({offset, std::move(bytes)});
}

void Overwrites::addZeros(std::uint64_t offset, std::uint64_t count) {
    const bool goesOn =
        !all.empty() && all.back().bytes.empty() && all.back().offset + all.back().zeros == offset;
    if (goesOn) {
        all.back().zeros += count;
    } else {
        all.push_back({offset, {}, count});
    }
}

void Overwrites::addDifference(std::uint64_t offset, const std::string& before,
                               const std::string& after) {
    for (std::size_t at = 0; at < before.size();) {
        if (before[at] == after[at]) {
            ++at;
            continue;
        }
        std::size_t end = at;
        while (end < before.size() && before[end] != after[end])
            ++end;
        all.push_back({offset + at, after.substr(at, end - at)});
        at = end;
    }
}

std::uint64_t Overwrites::bytes() const {
    std::uint64_t sum = 0;
    for (const Overwrite& each : all)
        sum += each.bytes.size() + each.zeros;
    return sum;
}

bool Overwrites::isOneSector() const {
    constexpr std::uint64_t sector = 512;
    return std::all_of(all.begin(), all.end(), [&](const Overwrite& each) {
        const std::uint64_t last = each.offset + each.bytes.size() + each.zeros - 1;
        const std::uint64_t only = all.front().offset / sector;
        return each.offset / sector == only && last / sector == only;
    });
}

void Overwrites::applyTo(std::string& file) const {
    for (const Overwrite& each : all) {
        file.replace(each.offset, each.bytes.size() + each.zeros,
                     each.bytes + std::string(each.zeros, '\0'));
    }
}

bool Overwrites::write(WEKU::FileIO& file) const {
    const std::string block(65536, '\0');
    const auto put = [&](const std::string& bytes, std::uint64_t count) {
        return file.writeAll(reinterpret_cast<const unsigned char*>(bytes.data()), count);
    };
    for (const Overwrite& each : all) {
        if (!file.seek_set(each.offset) || !put(each.bytes, each.bytes.size())) return false;
        for (std::uint64_t left = each.zeros; left > 0;) {
            const std::uint64_t piece = std::min<std::uint64_t>(left, block.size());
            if (!put(block, piece)) return false;
            left -= piece;
        }
    }
    return true;
}
