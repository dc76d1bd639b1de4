#include <algorithm>
#include <cmath>
#include <limits>

#include "probe/Sondex.h"
#include "sensor/MovieSensors.h"
#include "sondex/inside/FactsOf.h"
#include "sondex/inside/Opening.h"

namespace sondex {

using namespace inside;

namespace {

/// The door's records have the members of the loaders' records and no others.
template <class To, class From>
std::vector<To> copied(const std::vector<From>& records) {
    std::vector<To> copies(records.size());
    std::transform(records.begin(), records.end(), copies.begin(), [](const From& record) {
        return To{record.x, record.y, record.z, record.timestamp};
    });
    return copies;
}

}  // namespace

Result<MotionStreams> inside::motionOf(const MP4::Container& movie) {
    if (movie.moov == nullptr) return whyNoMovie(movie);
    Sondex probe;
    probe.readModel(movie);
    probe.readKMKN(movie);
    probe.detect_movie(movie, Sondex::Picture::claimed);
    const auto mode = VideoStabilizationMode::yawMode(probe.record.stabilize);
    MovieSensors sensors;
    sensors.load(movie);
    sensors.analyse(mode, probe.frameRateClass(), probe.cameraVersion);

    MotionStreams motion;
    motion.gyro = copied<GyroSample>(sensors.gyro);
    motion.compass = copied<CompassSample>(sensors.compass);
    motion.accelerometer = copied<AccelerometerSample>(sensors.topBottom);
    motion.frameTimes.assign(sensors.frameTimes.begin(), sensors.frameTimes.end());
    motion.rates = {sensors.topBottomRate, sensors.gyroRate, sensors.compassRate};
    motion.yawMode = static_cast<YawMode>(mode);
    motion.yaw = std::move(sensors.stabilizer.yaws);
    motion.upsideDown = sensors.upDownReversed;
    return motion;
}

Result<MotionStreams> readMotion(std::string_view path, const Options& options) {
    return readFile<MotionStreams>(path, options, MP4::Container::wholeFile, motionOf);
}

std::vector<Nanoseconds> frameTimesOf(const MotionStreams& motion) {
    if (!motion.frameTimes.empty()) return motion.frameTimes;
    std::vector<Nanoseconds> times;
    times.reserve(motion.accelerometer.size());
    for (const AccelerometerSample& sample : motion.accelerometer)
        times.push_back(sample.time);
    return times;
}

double tiltOf(const AccelerometerSample& sample) {
    const double x = sample.x, y = sample.y, up = sample.z;
    if (x == 0 && y == 0 && up == 0) return std::numeric_limits<double>::quiet_NaN();
    return std::atan2(std::hypot(x, y), up);
}

bool isLevel(const AccelerometerSample& sample) {
    return sample.x == 0 && sample.y == 0 && sample.z != 0;
}

}  // namespace sondex
