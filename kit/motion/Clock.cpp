#include "kit/motion/Clock.h"

#include <algorithm>
#include <numeric>

namespace kit {

Clock::Clock(const std::vector<Nanoseconds>& times, Nanoseconds start) : start(start) {
    ticks.reserve(times.size());
    for (const Nanoseconds time : times) {
        const auto tick = static_cast<std::int64_t>(time - start);
        if (!ticks.empty() && tick < ticks.back()) ++backward;
        ticks.push_back(tick);
    }
    if (backward == 0) return;
    numbers.resize(ticks.size());
    std::iota(numbers.begin(), numbers.end(), 0U);
    std::stable_sort(numbers.begin(), numbers.end(),
                     [&](std::uint32_t a, std::uint32_t b) { return ticks[a] < ticks[b]; });
    std::sort(ticks.begin(), ticks.end());
}

double Clock::seconds(std::size_t place) const {
    return static_cast<double>(ticks[place]) / 1e9;
}

std::size_t Clock::sample(std::size_t place) const {
    return numbers.empty() ? place : numbers[place];
}

std::optional<std::size_t> Clock::nearest(Nanoseconds time) const {
    if (ticks.empty()) return {};
    const auto tick = static_cast<std::int64_t>(time - start);
    const auto after = std::lower_bound(ticks.begin(), ticks.end(), tick);
    auto place = static_cast<std::size_t>(after - ticks.begin());
    const auto apart = [](std::int64_t from, std::int64_t to) {
        return static_cast<std::uint64_t>(to) - static_cast<std::uint64_t>(from);
    };
    if (after == ticks.end() ||
        (place > 0 && apart(ticks[place - 1], tick) <= apart(tick, ticks[place]))) {
        --place;
    }
    return sample(place);
}

std::uint64_t Clock::interval(std::size_t place) const {
    return static_cast<std::uint64_t>(ticks[place + 1]) - static_cast<std::uint64_t>(ticks[place]);
}

Pace::Pace(const Clock& clock) {
    if (clock.size() < 2) return;
    std::vector<std::uint64_t> intervals(clock.size() - 1);
    for (std::size_t place = 0; place < intervals.size(); ++place)
        intervals[place] = clock.interval(place);
    const auto largest = std::max_element(intervals.begin(), intervals.end());
    longest = static_cast<std::size_t>(largest - intervals.begin());
    const double span = clock.seconds(intervals.size()) - clock.seconds(0);
    if (span > 0) rate = static_cast<double>(intervals.size()) / span;

    const auto middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
    std::nth_element(intervals.begin(), middle, intervals.end());
    const double usual = static_cast<double>(*middle);
    if (usual == 0) return;
    for (std::size_t place = 0; place + 1 < clock.size(); ++place) {
        if (static_cast<double>(clock.interval(place)) > 2.5 * usual) gaps.push_back(place);
    }
}

}  // namespace kit
