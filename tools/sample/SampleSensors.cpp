#include <cmath>
#include <numbers>
#include <vector>

#include "sensor/AccelSensorStreamEmbed.h"
#include "support/Truncate.h"
#include "tests/kit/SensorBoxes.h"
#include "tools/sample/SampleCamera.h"

namespace sample {
namespace {

using Sensors = AccelSensorStreamEmbed;

struct Axes {
    double x, y, z;
};

Axes cross(const Axes& a, const Axes& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/// A turn by `degrees` between two moments, slow at both ends; in radians a second.
double turnRate(double time, double from, double to, double degrees) {
    if (time < from || time > to) return 0;
    const double phase = 2 * std::numbers::pi * (time - from) / (to - from);
    return degrees * std::numbers::pi / 180 * (1 - std::cos(phase)) / (to - from);
}

Axes angularRate(double time, double seconds) {
    const double pan = turnRate(time, seconds * 0.2, seconds * 0.5, 90);
    const double up = turnRate(time, seconds * 0.55, seconds * 0.7, 20);
    const double down = turnRate(time, seconds * 0.7, seconds * 0.85, -20);
    return {up + down, 0, pan};
}

/// Turns a direction that stands still outside as seen from the camera.
void turn(Axes& direction, const Axes& rate, double seconds) {
    const Axes step = cross(direction, rate);
    direction = {direction.x + step.x * seconds, direction.y + step.y * seconds,
                 direction.z + step.z * seconds};
    const double length = std::hypot(direction.x, direction.y, direction.z);
    direction = {direction.x / length, direction.y / length, direction.z / length};
}

constexpr std::uint64_t clockStart = 1'000'000'000;

std::uint64_t nanoseconds(double seconds) {
    return clockStart + WEKU::truncateToUint64(seconds * 1e9);
}

}  // namespace

std::string sensorBoxes(double seconds, double framesPerSecond, SensorRates rates) {
    if (rates.accelerometer == 0) rates.accelerometer = framesPerSecond;
    constexpr double stepsPerSecond = 1000;
    std::vector<Sensors::Gyro> gyro;
    std::vector<Sensors::Ecompass> compass;
    std::vector<Sensors::TopBottomCorrection> accel;
    std::vector<unsigned long long> frames;
    Axes up{0, 0, 1};
    Axes north{0, 1, 0};
    // The sensors go on a little longer than the pictures.
    const auto steps = static_cast<int>((seconds + 0.1) * stepsPerSecond);
    for (int step = 0; step < steps; ++step) {
        const double time = step / stepsPerSecond;
        const Axes rate = angularRate(time, seconds);
        const auto at = [&](double samplesPerSecond, std::size_t taken) {
            return time * samplesPerSecond >= static_cast<double>(taken);
        };
        if (at(rates.gyro, gyro.size())) {
            gyro.push_back({static_cast<float>(rate.x), static_cast<float>(rate.y),
                            static_cast<float>(rate.z), nanoseconds(time)});
        }
        if (at(rates.compass, compass.size())) {
            compass.push_back({static_cast<float>(40 * north.x), static_cast<float>(40 * north.y),
                               static_cast<float>(40 * north.z), nanoseconds(time)});
        }
        if (at(rates.accelerometer, accel.size())) {
            const auto raw = [](double g) { return WEKU::truncateToInt16(g * 4096); };
            accel.push_back({raw(up.x), raw(up.y), raw(up.z), nanoseconds(time)});
        }
        // The shutter is not the sensors' clock: frames fall between the samples.
        if (time < seconds && at(framesPerSecond, frames.size())) {
            frames.push_back(nanoseconds(time + 0.004));
        }
        turn(up, rate, 1 / stepsPerSecond);
        turn(north, rate, 1 / stepsPerSecond);
    }
    const auto ofRate = [](double rate) {
        return kit::StreamLayout{.rate = static_cast<std::uint16_t>(std::lround(rate))};
    };
    return kit::streamBox("KDTB", gyro, ofRate(rates.gyro)) +
           kit::streamBox("KDTC", compass, ofRate(rates.compass)) +
           kit::streamBox("KDTD", accel, ofRate(rates.accelerometer)) +
           kit::streamBox("KDTG", frames, ofRate(framesPerSecond));
}

}  // namespace sample
