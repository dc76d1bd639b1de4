#pragma once

#include <cstddef>
#include <cstdint>

/// The samples of the camera's motion sensors, laid out as in the sensor boxes: a record is read
/// into its structure and at most byte-swapped.
///
/// Vectors stand in one of three frames. The sensor frame is that of the gyro and accelerometer
/// records: of a camera that stands upright and level the accelerometer reads (0, 0, +g). The
/// camera frame is that of the orientation code, (-x, -z, -y) of the sensor frame, where the same
/// camera reads (0, -g, 0); compass records are taken as they are there. The orientation frame, in
/// which the front is judged and the yaw's reference direction turns, lists the sensor axes in
/// another order; each place says which.
namespace SensorRecords {

/// Angular rate about each axis of the sensor frame.
struct Gyro {
    float x = 0;  ///< Radians a second, as y and z.
    float y = 0;
    float z = 0;
    std::uint64_t timestamp = 0;  ///< Nanoseconds; all streams of a movie share the clock.
};

/// Magnetic field along each axis of the camera frame.
struct Ecompass {
    float x = 0;  ///< Only the direction matters, never the unit.
    float y = 0;
    float z = 0;
    std::uint64_t timestamp = 0;  ///< Nanoseconds, and never asked: samples pair by index.
};

/// Acceleration along each axis of the sensor frame.
struct TopBottomCorrection {
    std::int16_t x = 0;  ///< Only the direction matters, never the unit.
    std::int16_t y = 0;
    std::int16_t z = 0;
    std::uint64_t timestamp = 0;  ///< Nanoseconds.
};

static_assert(sizeof(Gyro) == 24 && offsetof(Gyro, timestamp) == 16);
static_assert(sizeof(Ecompass) == 24 && offsetof(Ecompass, timestamp) == 16);
static_assert(sizeof(TopBottomCorrection) == 16 && offsetof(TopBottomCorrection, timestamp) == 8);

/// The acceleration at one video frame, in the camera frame.
struct TAccelSensorInfo {
    std::int16_t x = 0;  ///< In the unit of the header's offsets, if there are any.
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
