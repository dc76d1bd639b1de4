#pragma once

#include <cstdint>
#include <vector>

#include "sondex/Facts.h"

namespace sondex {

/// Times count nanoseconds on one clock of the movie, whose zero means nothing.
using Nanoseconds = std::uint64_t;

/// Turn about the camera's axes in radians a second.
struct GyroSample {
    float x = 0;
    float y = 0;
    float z = 0;
    Nanoseconds time = 0;
};

/// Magnetic field along the camera's axes; only its direction has a meaning.
struct CompassSample {
    float x = 0;
    float y = 0;
    float z = 0;
    Nanoseconds time = 0;
};

/// Acceleration along the camera's axes; only its direction has a meaning.
struct AccelerometerSample {
    std::int16_t x = 0;
    std::int16_t y = 0;
    std::int16_t z = 0;
    Nanoseconds time = 0;
};

/// How the camera asks for the yaw to be treated.
enum class YawMode {
    off,            ///< Not at all.
    follow,         ///< Slow turns are followed, quick ones taken out.
    lockDirection,  ///< The view keeps its direction.
};

/// The motion sensors of a movie. What the movie does not hold is empty.
struct MotionStreams {
    std::vector<GyroSample> gyro;
    std::vector<CompassSample> compass;
    /// One a frame where the movie states the frames' times, brought onto them; else as stored.
    std::vector<AccelerometerSample> accelerometer;
    std::vector<Nanoseconds> frameTimes;
    MotionRates rates;

    YawMode yawMode = YawMode::off;
    /// Radians, one an accelerometer sample: the turn about the vertical since the first, modulo a
    /// whole turn with the direction locked, else without its slow part. Empty with the mode off
    /// or without gyro.
    std::vector<float> yaw;
    /// The camera stood on its head.
    bool upsideDown = false;
};

/// When each frame was taken; where the movie does not state that, when each accelerometer sample
/// was.
[[nodiscard]] std::vector<Nanoseconds> frameTimesOf(const MotionStreams& motion);

/// The angle in radians, 0 to pi, between the camera's upright axis and the vertical; NaN without
/// gravity.
[[nodiscard]] double tiltOf(const AccelerometerSample& sample);

/// Exactly upright or exactly upside down: there the turn that levels the camera has no axis and
/// counts as half a turn, so that the yaw is off by half a turn from that of other frames.
[[nodiscard]] bool isLevel(const AccelerometerSample& sample);

}  // namespace sondex
