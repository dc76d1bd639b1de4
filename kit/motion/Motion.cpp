#include "kit/motion/Motion.h"

#include <limits>

namespace kit {
namespace {

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

template <class Sample>
Clock clockOf(const std::vector<Sample>& samples, Nanoseconds start) {
    std::vector<Nanoseconds> times;
    times.reserve(samples.size());
    for (const Sample& sample : samples)
        times.push_back(sample.time);
    return {times, start};
}

}  // namespace

Motion::Motion(sondex::MotionStreams streamsOfMovie)
    : streams(std::move(streamsOfMovie)), frameTimes(sondex::frameTimesOf(streams)) {
    const Nanoseconds start = !frameTimes.empty()        ? frameTimes.front()
                              : !streams.gyro.empty()    ? streams.gyro.front().time
                              : !streams.compass.empty() ? streams.compass.front().time
                                                         : 0;
    frames = Clock(frameTimes, start);
    gyro = clockOf(streams.gyro, start);
    compass = clockOf(streams.compass, start);
}

double Motion::yaw(std::size_t frame) const {
    return frame < streams.yaw.size() ? streams.yaw[frame] * degreesARadian : unknown;
}

double Motion::tilt(std::size_t frame) const {
    return frame < streams.accelerometer.size()
               ? sondex::tiltOf(streams.accelerometer[frame]) * degreesARadian
               : unknown;
}

bool Motion::isHalfTurned(std::size_t frame) const {
    return frame < streams.yaw.size() && sondex::isLevel(streams.accelerometer[frame]);
}

}  // namespace kit
