#pragma once

#include <cstddef>
#include <cstdint>

/// The samples of the camera's motion sensors, laid out as in the sensor boxes: a record is read
/// into its structure and at most byte-swapped. Timestamps count nanoseconds on one common clock.
namespace SensorRecords {

/// Angular rate per axis.
struct Gyro {
    float x = 0;
    float y = 0;
    float z = 0;
    std::uint64_t timestamp = 0;
};

/// Magnetic field per axis.
struct Ecompass {
    float x = 0;
    float y = 0;
    float z = 0;
    std::uint64_t timestamp = 0;
};

/// Acceleration per axis.
struct TopBottomCorrection {
    std::int16_t x = 0;
    std::int16_t y = 0;
    std::int16_t z = 0;
    std::uint64_t timestamp = 0;
};

static_assert(sizeof(Gyro) == 24 && offsetof(Gyro, timestamp) == 16);
static_assert(sizeof(Ecompass) == 24 && offsetof(Ecompass, timestamp) == 16);
static_assert(sizeof(TopBottomCorrection) == 16 && offsetof(TopBottomCorrection, timestamp) == 8);

/// The accelerometer of one video frame, in the axes of the orientation code.
struct TAccelSensorInfo {
    std::int16_t x = 0;
    std::int16_t y = 0;
    std::int16_t z = 0;
    /// Compass heading in hundredths of a degree.
    std::int16_t heading = 0;
    /// Degrees Celsius.
    std::int16_t temperature = 0;
    /// Carried along, never read.
    std::int16_t spare = 0;
};

}  // namespace SensorRecords
