#include "kit/motion/Summary.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "kit/Table.h"
#include "kit/scan/Record.h"

namespace kit {
namespace {

using Json = nlohmann::ordered_json;

/// As many of a list are shown as can be read.
constexpr std::size_t shown = 3;

double lengthOf(const Clock& clock, std::size_t place) {
    return static_cast<double>(clock.interval(place)) / 1e9;
}

/// The longest gaps, the longest first.
std::vector<std::size_t> longestGaps(const Clock& clock, const Pace& pace) {
    std::vector<std::size_t> gaps = pace.gaps;
    const auto end = gaps.begin() + static_cast<std::ptrdiff_t>(std::min(shown, gaps.size()));
    std::partial_sort(gaps.begin(), end, gaps.end(), [&](std::size_t a, std::size_t b) {
        return std::pair(clock.interval(b), a) < std::pair(clock.interval(a), b);
    });
    gaps.erase(end, gaps.end());
    return gaps;
}

/// The smallest and the largest of the numbers that are some.
class Range {
  public:
    void add(double number) {
        if (!std::isfinite(number)) return;
        least = std::min(least, number);
        most = std::max(most, number);
    }
    [[nodiscard]] bool empty() const { return least > most; }

    double least = std::numeric_limits<double>::infinity();
    double most = -least;
};

struct Summary {
    explicit Summary(const Motion& motion) {
        for (std::size_t frame = 0; frame < motion.frames.size(); ++frame) {
            yaw.add(motion.yaw(frame));
            tilt.add(motion.tilt(frame));
            if (!motion.isHalfTurned(frame)) continue;
            ++halfTurned;
            if (halfTurns.empty() || halfTurns.back().second + 1 != frame)
                halfTurns.emplace_back(frame, frame);
            halfTurns.back().second = frame;
        }
        for (std::size_t place = 0; place < motion.gyro.size(); ++place) {
            const double turn = turnOf(motion.streams.gyro[motion.gyro.sample(place)]);
            if (!std::isfinite(turn) || turn <= fastest) continue;
            fastest = turn;
            fastestAt = motion.gyro.seconds(place);
        }
    }

    Range yaw, tilt;
    std::size_t halfTurned = 0;
    /// First and last frame of each stretch.
    std::vector<std::pair<std::size_t, std::size_t>> halfTurns;
    /// Degrees a second; below 0 without gyro.
    double fastest = -1;
    double fastestAt = 0;
};

std::string paceText(const Clock& clock, const std::string& what, std::uint32_t stated) {
    const Pace pace(clock);
    std::string text = std::to_string(clock.size()) + what;
    if (pace.rate) text += format(", %.2f a second", *pace.rate);
    if (stated != 0) text += format(" (%u stated)", stated);
    if (pace.longest && pace.gaps.empty())
        text += format(", at most %.4g s apart", lengthOf(clock, *pace.longest));
    const char* separator = pace.gaps.size() == 1 ? ", 1 gap: " : ", %zu gaps: ";
    for (const std::size_t gap : longestGaps(clock, pace)) {
        text += format(separator, pace.gaps.size()) +
                format("%.4g s at %.3f s", lengthOf(clock, gap), clock.seconds(gap));
        separator = ", ";
    }
    if (pace.gaps.size() > shown) text += ", ...";
    if (clock.stepsBack() > 0) text += format(", %zu steps back in time", clock.stepsBack());
    return text;
}

Json paceJson(const Clock& clock) {
    const Pace pace(clock);
    const auto interval = [&](std::size_t place) {
        return Json{{"at", clock.seconds(place)}, {"seconds", lengthOf(clock, place)}};
    };
    Json json{{"count", clock.size()}};
    if (pace.rate) json["measuredRate"] = *pace.rate;
    if (pace.longest) json["longestInterval"] = interval(*pace.longest);
    json["gaps"] = pace.gaps.size();
    for (const std::size_t gap : longestGaps(clock, pace))
        json["longestGaps"].push_back(interval(gap));
    json["stepsBack"] = clock.stepsBack();
    return json;
}

Json sensorJson(const Clock& clock, std::uint32_t stated) {
    Json json = paceJson(clock);
    json["statedRate"] = stated;
    return json;
}

Json rangeJson(const Range& range) {
    return range.empty() ? Json() : Json{{"min", range.least}, {"max", range.most}};
}

std::string rangeText(const Range& range) {
    return format("%.1f° to %.1f°", range.least, range.most);
}

std::string halfTurnText(const Summary& summary) {
    std::string text =
        format("%zu frames are exactly level, which turns it by 180°:", summary.halfTurned);
    for (std::size_t i = 0; i < std::min(shown, summary.halfTurns.size()); ++i) {
        const auto& [first, last] = summary.halfTurns[i];
        text += format(i == 0 ? " %zu" : ", %zu", first);
        if (last != first) text += format("-%zu", last);
    }
    return text + (summary.halfTurns.size() > shown ? ", ..." : "");
}

constexpr const char* modeWords[] = {"off", "slow turns followed", "direction locked"};
constexpr const char* modeKeys[] = {"off", "follow", "lockDirection"};

}  // namespace

std::string summaryText(const Motion& motion) {
    const sondex::MotionStreams& streams = motion.streams;
    Table table;
    if (motion.empty()) table.row("motion", std::string("none"));
    const bool perFrame = !streams.frameTimes.empty();
    if (perFrame) table.row("frames", paceText(motion.frames, "", 0));
    if (!perFrame && !motion.frames.empty()) {
        const std::uint32_t stated = streams.rates.accelerometer;
        table.row("accelerometer", paceText(motion.frames, " samples", stated));
    } else if (!streams.accelerometer.empty()) {
        const std::uint32_t stated = streams.rates.accelerometer;
        table.row("accelerometer", format("%u samples a second stated, one a frame here", stated));
    }
    if (!motion.gyro.empty())
        table.row("gyro", paceText(motion.gyro, " samples", streams.rates.gyro));
    if (!motion.compass.empty())
        table.row("compass", paceText(motion.compass, " samples", streams.rates.compass));

    const Summary summary(motion);
    if (!summary.tilt.empty()) table.row("tilt", rangeText(summary.tilt));
    if (!summary.yaw.empty()) {
        const char* mode = modeWords[static_cast<std::size_t>(streams.yawMode)];
        table.row("yaw", rangeText(summary.yaw) + ", " + mode);
    } else if (!motion.frames.empty()) {
        table.row("yaw",
                  std::string(streams.yawMode == sondex::YawMode::off ? "none: stabilisation is off"
                                                                      : "none"));
    }
    if (summary.halfTurned > 0) table.row("", halfTurnText(summary));
    if (summary.fastest >= 0) {
        table.row("fastest turn", format("%.1f°/s at %.3f s", summary.fastest, summary.fastestAt));
    }
    if (streams.upsideDown) table.row("held", std::string("upside down"));
    return table.text();
}

std::string summaryJson(std::string_view path, const Motion& motion) {
    const sondex::MotionStreams& streams = motion.streams;
    const Summary summary(motion);
    Json json{{"status", "succeed"},
              {"frames", paceJson(motion.frames)},
              {"gyro", sensorJson(motion.gyro, streams.rates.gyro)},
              {"compass", sensorJson(motion.compass, streams.rates.compass)},
              {"accelerometer",
               {{"count", streams.accelerometer.size()},
                {"statedRate", streams.rates.accelerometer},
                {"perFrame", !streams.frameTimes.empty()}}},
              {"tilt", rangeJson(summary.tilt)},
              {"yaw", rangeJson(summary.yaw)},
              {"yawMode", modeKeys[static_cast<std::size_t>(streams.yawMode)]},
              {"upsideDown", streams.upsideDown},
              {"halfTurnedFrames", summary.halfTurns}};
    if (summary.fastest >= 0) {
        json["fastestTurn"] = {{"degreesPerSecond", summary.fastest}, {"at", summary.fastestAt}};
    }
    std::string text = json.dump();
    text.front() = ',';
    return recordHead(path, {}) + text + '\n';
}

}  // namespace kit
