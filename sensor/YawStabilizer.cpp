#include "sensor/YawStabilizer.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "support/Console.h"
#include "support/Geometry.h"
#include "support/Truncate.h"

namespace {

using std::numbers::pi;
using Vector = WEKU2::Vector3<double>;
using Gyro = SensorRecords::Gyro;
using Accel = SensorRecords::TopBottomCorrection;

/// Walks the gyro samples along with the frames and turns a reference direction by them.
class GyroReference {
  public:
    GyroReference(const std::vector<Gyro>& samples, std::int32_t delay)
        : samples(samples), delay(static_cast<std::size_t>(delay)) {}

    /// Turns the reference by the sample that belongs to the frame time `t`.
    void advance(std::uint64_t t, std::uint64_t previous) {
        if (samples.empty()) return;
        const Gyro& sample = lookUp(t);
        const double gx = sample.x, gy = sample.y, gz = sample.z;
        const double dt =
            static_cast<double>(static_cast<std::int64_t>(t - previous)) / 1000 / 1000 / 1000;
        const auto [a, b, c] = direction;
        direction = Vector{a + dt * (b * gy - c * gx), b + dt * (c * gz - a * gy),
                           c + dt * (a * gx - b * gz)}
                        .normalized();
    }

    /// Fixed in the world, as the turning camera sees it; in the order z, x, y of the sensor axes.
    Vector direction{0, 0, 1};

  private:
    /// Deliberate: the cursor steps back by the delay in unsigned arithmetic, so with fewer samples
    /// than that before the frame it goes to the end and every later frame gets the last sample.
    const Gyro& lookUp(std::uint64_t t) {
        const std::size_t n = samples.size();
        if (cursor < n) {
            const auto time = static_cast<std::int64_t>(t);
            std::size_t j = cursor;
            while (j < n - 1 && static_cast<std::int64_t>(samples[j].timestamp) <= time)
                ++j;
            cursor = j - delay;
            if (cursor == 0) cursor = 1;
            if (cursor > n) cursor = n;
        }
        return samples[cursor - 1];
    }

    const std::vector<Gyro>& samples;
    const std::size_t delay;
    std::size_t cursor = 0;
};

/// The rotation that levels a frame, in the sensor frame: its gravity onto z, which `sign` turns
/// round.
WEKU2::Quaternion<double> levelling(const Accel& sample, double sign) {
    const Vector u = Vector{static_cast<double>(sample.x), static_cast<double>(sample.y),
                            static_cast<double>(sample.z)}
                         .normalized();
    const Vector cross{sign * u.y, -sign * u.x, 0};
    const double length = cross.length();
    if (length == 0) return {0, 1, 0, 0};  // half a turn, whichever way gravity points
    const Vector axis = cross / length;
    const double half = std::acos(sign * u.z) / 2;
    const double sine = std::sin(half);
    return {axis.x * sine, axis.y * sine, axis.z * sine, std::cos(half)};
}

/// The yaw of the reference direction as seen from the levelled camera.
double rawYaw(const Accel& sample, double sign, const Vector& reference) {
    const WEKU2::Matrix3x3<double> level = levelling(sample, sign).toMatrix();
    const Vector turned{reference.y, reference.z, reference.x};  // back into the sensor frame
    return std::atan2(-level.rows[1].dot(turned), level.rows[0].dot(turned));
}

}  // namespace

YawStabilizer::Config::Config(MetaBuilder::CAMERA_VERSION version) {
    if ((version | 0x10000U) == MetaBuilder::CAMERA_Q7) return;
    WEKU::Console::out(L"Unsupported camera version for yaw-stabilizer - %x, use default.\n",
                       static_cast<unsigned>(version));
}

bool YawStabilizer::init(const MP4::Container& movie, VideoStabilizationMode::MODE mode,
                         int frameRate, bool reversed, MetaBuilder::CAMERA_VERSION version) {
    std::vector<Gyro> gyro;
    std::vector<TopBottomCorrection> accel;
    std::uint16_t gyroRate = 0, rate = 0;
    if (mode != VideoStabilizationMode::DISABLED) {
        AccelSensorStreamEmbed::loadM29_KDTB(movie, gyro, gyroRate);
        AccelSensorStreamEmbed::loadM30_KDTD_with_KDTG(movie, accel, rate);
    }
    return init(gyro, accel, rate, mode, frameRate, reversed, version);
}

bool YawStabilizer::init(const std::vector<Gyro>& gyro,
                         const std::vector<TopBottomCorrection>& accel, std::uint16_t rate,
                         VideoStabilizationMode::MODE mode, int frameRate, bool reversed,
                         MetaBuilder::CAMERA_VERSION version) {
    yaws.clear();
    sensorRate = 30;
    videoFrameRate = 30;
    if (mode == VideoStabilizationMode::DISABLED) return true;

    sensorRate = rate;
    if (gyro.empty() || accel.empty()) {
        WEKU::Console::out(L"No metadata for yaw-stabilizer.\n");
        return false;
    }
    generate(gyro, accel, 0, mode == VideoStabilizationMode::LOCK_DIRECTION, reversed, version);
    videoFrameRate = static_cast<float>(frameRate);
    return true;
}

void YawStabilizer::generate(const std::vector<Gyro>& gyro,
                             const std::vector<TopBottomCorrection>& accel,
                             std::uint16_t /*gyroRate*/, bool lockDirection, bool reversed,
                             MetaBuilder::CAMERA_VERSION version) {
    constexpr double jump = 5 * pi / 3;
    const Config config(version);
    if (accel.empty()) return;
    const double timeConstant = sensorRate / (2 * pi * config.cutoffHz);  // in frame records
    const double sign = reversed ? -1 : 1;
    GyroReference reference(gyro, config.gyroDelay);
    std::uint64_t previousTime = 0;
    double first = 0, previousRaw = 0, offset = 0, accumulator = 0;
    for (const TopBottomCorrection& sample : accel) {
        const bool isFirst = &sample == &accel.front();
        if (!isFirst) reference.advance(sample.timestamp, previousTime);
        const double raw = rawYaw(sample, sign, reference.direction);
        if (isFirst) first = raw;

        const double step = raw - previousRaw;
        if (step > jump) {
            offset -= 2 * pi;
        } else if (step < -jump) {
            offset += 2 * pi;
        }
        double value = raw + offset - first;
        // Deliberate: with the direction locked the previous yaw stays 0, which is what every
        // angle is then unwrapped against.
        if (!lockDirection) {
            value = value - accumulator / timeConstant;
            accumulator += value;
            previousRaw = raw;
        }
        yaws.push_back(static_cast<float>(value * sign));
        previousTime = sample.timestamp;
    }
}

float YawStabilizer::acquire_yaw(int frame) const {
    if (yaws.empty()) return 0;
    if (frame < 1) return yaws.front();
    const float index = static_cast<float>(sensorRate) * static_cast<float>(frame) / videoFrameRate;
    const auto place = static_cast<std::uint64_t>(WEKU::truncateToInt64(index));
    return yaws[std::min<std::uint64_t>(place, yaws.size() - 1)];
}
