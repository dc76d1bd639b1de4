#pragma once

#include <cmath>
#include <functional>
#include <numbers>
#include <string_view>

#include "kit/motion/Clock.h"

namespace kit {

/// Takes a piece of an output; the pieces are large. Throws when it cannot be written.
using Write = std::function<void(std::string_view piece)>;

constexpr double degreesARadian = 180 / std::numbers::pi;

/// The motion of one movie on one time line, which begins at the first frame, in the units in which
/// people think of it.
struct Motion {
    explicit Motion(sondex::MotionStreams streams);

    [[nodiscard]] bool empty() const { return frames.empty() && gyro.empty() && compass.empty(); }
    /// Degrees; NaN where the movie does not say.
    [[nodiscard]] double yaw(std::size_t frame) const;
    [[nodiscard]] double tilt(std::size_t frame) const;
    /// Whether the yaw of this frame is off by half a turn, because it is level.
    [[nodiscard]] bool isHalfTurned(std::size_t frame) const;

    sondex::MotionStreams streams;
    std::vector<Nanoseconds> frameTimes;
    Clock frames, gyro, compass;
};

/// Degrees a second about all axes together; NaN or infinite when one of them is.
[[nodiscard]] inline double turnOf(const sondex::GyroSample& sample) {
    const double x = sample.x, y = sample.y, z = sample.z;
    // Not hypot, in which a NaN may go under. The squares of floats do not leave a double's range.
    return std::sqrt(x * x + y * y + z * z) * degreesARadian;
}

}  // namespace kit
