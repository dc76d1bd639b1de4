#include <algorithm>
#include <future>

#include "sensor/AccelSensorStreamEmbed.h"
#include "sensor/Filters.h"
#include "support/Console.h"
#include "support/Endian.h"
#include "support/Truncate.h"

namespace {

constexpr std::uint64_t recordSize = 12;

using Info = SensorRecords::TAccelSensorInfo;
using Axis = std::int16_t Info::*;

Info decodeRecord(const unsigned char* bytes) {
    const auto field = [bytes](int i) {
        return static_cast<std::int16_t>(WEKU::loadBig<std::uint16_t>(bytes + 2 * i));
    };
    return {field(0), field(1), field(2), field(3), field(4), 0};
}

/// Smooths one axis of the entries. Three of these run at once: no two touch the same field.
void filterAxis(std::vector<Info>& infos, Axis axis) {
    std::vector<double> in(infos.size());
    std::vector<double> smoothed;
    std::transform(infos.begin(), infos.end(), in.begin(),
                   [axis](const Info& i) { return i.*axis; });
    filterForAcc(in, smoothed);
    for (std::size_t i = 0; i < infos.size(); ++i)
        infos[i].*axis = WEKU::truncateToInt16(smoothed[i]);
}

}  // namespace

bool AccelSensorStreamEmbed::load(int /*unused*/, WEKU::FileIO& file, bool filter) {
    clear();
    unsigned char header[48];
    if (file.read(header, sizeof header) != sizeof header) return false;
    std::int32_t* const fields[] = {&count,      &samplingRate,     &tempGain,  &tempOffset,
                                    &tempCoeffZ, &reserved,         &offsetX,   &offsetY,
                                    &offsetZ,    &tempCompensation, &frameRate, &frameStep};
    for (std::size_t i = 0; i < std::size(fields); ++i)
        *fields[i] = static_cast<std::int32_t>(WEKU::loadBig<std::uint32_t>(header + 4 * i));

    // The announced count is only a bound: the list grows by what the file delivers.
    std::vector<unsigned char> block(4096 * recordSize);
    std::uint64_t left = static_cast<std::uint64_t>(std::max(count, 0)) * recordSize;
    while (left > 0) {
        const std::uint64_t wanted = std::min<std::uint64_t>(left, block.size());
        const std::uint64_t got = file.read(block.data(), wanted);
        if (got == WEKU::FileIO::failed) break;
        for (std::uint64_t at = 0; at + recordSize <= got; at += recordSize)
            infos.push_back(decodeRecord(block.data() + at));
        if (got < wanted) break;
        left -= got;
    }

    if (filter) {
        WEKU::Console::out(L"filtering acc.\n");
        const auto filterAs = [this, &sink = WEKU::Console::sink()](Axis axis) {
            const WEKU::Console::Redirect callersSink(sink);
            filterAxis(infos, axis);
        };
        // Where there are no threads, an axis is filtered when its result is asked for.
        std::future<void> axes[] = {std::async(filterAs, &Info::x), std::async(filterAs, &Info::y),
                                    std::async(filterAs, &Info::z)};
        for (std::future<void>& axis : axes)
            axis.get();
    }
    return finishLoad();
}
