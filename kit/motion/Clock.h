#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "sondex/sondex.h"

namespace kit {

using sondex::Nanoseconds;

/// The times of one stream's samples on the movie's time line, in ascending order even where the
/// file's are not.
class Clock {
  public:
    Clock() = default;
    Clock(const std::vector<Nanoseconds>& times, Nanoseconds start);

    [[nodiscard]] std::size_t size() const { return ticks.size(); }
    [[nodiscard]] bool empty() const { return ticks.empty(); }
    /// Nanoseconds from the start of the time line.
    [[nodiscard]] std::int64_t ticksAt(std::size_t place) const { return ticks[place]; }
    /// The same in seconds.
    [[nodiscard]] double seconds(std::size_t place) const;
    /// The number in the stream of the sample at this place in time.
    [[nodiscard]] std::size_t sample(std::size_t place) const;
    /// The number of the sample whose time is nearest, the earlier of two; nothing without samples.
    [[nodiscard]] std::optional<std::size_t> nearest(Nanoseconds time) const;

    /// Nanoseconds between this place and the next.
    [[nodiscard]] std::uint64_t interval(std::size_t place) const;
    /// How often a time stamp of the file is below the one ahead of it.
    [[nodiscard]] std::size_t stepsBack() const { return backward; }

  private:
    Nanoseconds start = 0;
    /// Nanoseconds since the start.
    std::vector<std::int64_t> ticks;
    /// The samples' numbers; empty while they ascend by themselves.
    std::vector<std::uint32_t> numbers;
    std::size_t backward = 0;
};

/// How regularly a stream's samples come.
struct Pace {
    explicit Pace(const Clock& clock);

    /// Samples a second over the whole stream.
    std::optional<double> rate;
    /// The place ahead of the longest interval.
    std::optional<std::size_t> longest;
    /// The places ahead of intervals that leave out samples: longer than two and a half times the
    /// usual one.
    std::vector<std::size_t> gaps;
};

}  // namespace kit
