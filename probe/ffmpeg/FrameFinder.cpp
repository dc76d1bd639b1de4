#include "probe/ffmpeg/FrameFinder.h"

#include <algorithm>

bool FrameFinder::listMore() {
    const auto number = key + static_cast<std::int64_t>(listed.size());
    if (!packet || !demuxer.seekTo(number) || !demuxer.nextPacket(*packet)) return false;
    const std::int64_t decoded = packet->dts != AV_NOPTS_VALUE ? packet->dts : 0;
    const std::int64_t shown = packet->pts != AV_NOPTS_VALUE ? packet->pts : decoded;
    listed.push_back({decoded, shown});
    return true;
}

std::int64_t FrameFinder::durationOfLast() const {
    const std::int64_t last = demuxer.packetCount() - 1;
    const std::int64_t distance = av_sat_sub64(
        demuxer.decodingTimeOf(last), demuxer.decodingTimeOf(std::max<std::int64_t>(last - 1, 0)));
    return std::max<std::int64_t>(distance, 1);
}

bool FrameFinder::list(std::int64_t packetNumber) {
    if (packetNumber == key && !listed.empty()) return true;
    key = packetNumber;
    listed.clear();
    return listMore();
}

void FrameFinder::listUpTo(std::int64_t time) {
    // Nothing is shown before it is decoded.
    while (listed.back().decoded <= time && listMore()) {
    }
}

std::int64_t FrameFinder::earlierKey() const {
    return demuxer.keyPacketAt(av_sat_sub64(demuxer.decodingTimeOf(key), 1));
}

std::uint64_t FrameFinder::leading() const {
    const auto isLeading = [&](const Listed& each) { return each.shown < listed.front().shown; };
    return static_cast<std::uint64_t>(std::count_if(listed.begin(), listed.end(), isLeading));
}

std::optional<FrameFinder::Target> FrameFinder::byTime(std::int64_t time) {
    std::int64_t from = std::max<std::int64_t>(demuxer.keyPacketAt(time), 0);
    while (list(from) && listed.front().shown > time && earlierKey() >= 0)
        from = earlierKey();
    if (listed.empty()) return std::nullopt;
    time = std::max(time, listed.front().shown);
    listUpTo(time);
    const Listed* found = &listed.front();
    std::uint64_t ahead = 0;
    bool isLast = true;
    for (const Listed& each : listed) {
        if (each.shown > time) isLast = false;
        if (each.shown <= time && each.shown > found->shown) found = &each;
    }
    for (const Listed& each : listed)
        ahead += each.shown < found->shown ? 1 : 0;
    if (isLast && av_sat_sub64(time, found->shown) >= durationOfLast()) return std::nullopt;
    return Target{key, found->shown, static_cast<std::uint64_t>(key) + ahead};
}

std::optional<FrameFinder::Target> FrameFinder::byStoredNumber(std::uint64_t number) {
    if (number >= static_cast<std::uint64_t>(demuxer.packetCount())) return std::nullopt;
    const auto wanted = static_cast<std::int64_t>(number);
    std::int64_t from = demuxer.keyPacketAt(demuxer.decodingTimeOf(wanted));
    // One that shares its time with the wanted packet may stand behind it.
    from = from < 0 || from > wanted ? 0 : from;
    for (;;) {
        if (!list(from)) return std::nullopt;
        listUpTo(listed.front().shown);
        if (static_cast<std::uint64_t>(from) + leading() <= number || earlierKey() < 0) break;
        from = earlierKey();
    }
    const auto place = static_cast<std::size_t>(wanted - from);
    while (listed.size() <= place && listMore()) {
    }
    std::vector<std::int64_t> times;
    std::int64_t time = 0;
    for (std::size_t before = 0; before != listed.size();) {
        before = listed.size();
        if (before <= place) return std::nullopt;
        times.clear();
        for (const Listed& each : listed)
            times.push_back(each.shown);
        std::nth_element(times.begin(), times.begin() + wanted - from, times.end());
        time = times[place];
        listUpTo(time);
    }
    return Target{from, time, number};
}

bool FrameFinder::begin(std::int64_t shownFirst) {
    if (demuxer.packetCount() < 1) return false;
    const std::int64_t firstTime = demuxer.decodingTimeOf(0);
    auto found = byTime(std::max(shownFirst, firstTime));
    if (found && found->time < shownFirst) found = byStoredNumber(found->storedNumber + 1);
    if (!found) return false;
    beginning = *found;
    startTime = std::max(shownFirst, found->time);
    return true;
}

std::optional<FrameFinder::Target> FrameFinder::byNumber(std::uint64_t number) {
    if (number > static_cast<std::uint64_t>(demuxer.packetCount())) return std::nullopt;
    return byStoredNumber(beginning.storedNumber + number);
}
