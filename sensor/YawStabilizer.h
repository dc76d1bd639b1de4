#pragma once

#include <cstdint>
#include <vector>

#include "exif/CameraVersion.h"
#include "mp4/Container.h"
#include "sensor/AccelSensorStreamEmbed.h"
#include "sensor/VideoStabilizationMode.h"

/// How far the camera has turned about the vertical since the first frame, one angle a frame
/// record. In the normal mode a first-order high-pass takes the slow part of the turn out, so that
/// the view follows deliberate pans; in lock-direction mode the turn is kept, modulo 2 pi: it jumps
/// where the camera has turned half way round.
class YawStabilizer {
  public:
    using Gyro = AccelSensorStreamEmbed::Gyro;
    using TopBottomCorrection = AccelSensorStreamEmbed::TopBottomCorrection;

    /// The tuning for a camera; one that is not supported prints a line and gets the defaults.
    struct Config {
        explicit Config(MetaBuilder::CAMERA_VERSION version);

        /// Corner frequency of the drift filter, a first-order high-pass whose time constant is
        /// 1 / (2 pi 0.1 Hz) = 1.6 s.
        double cutoffHz = 0.1;
        /// How many gyro samples the gyro look-up stays behind a frame.
        std::int32_t gyroDelay = 6;
    };

    /// Loads the movie's gyro and per-frame accelerometer and generates the angles. `frameRate`
    /// is 15 or 30; `reversed` (the up/down verdict) flips every angle's sign. True with the mode
    /// disabled, without angles; false when the movie has no such streams.
    bool init(const MP4::Container& movie, VideoStabilizationMode::MODE mode, int frameRate,
              bool reversed, MetaBuilder::CAMERA_VERSION version);
    /// The same from streams that are loaded; `rate` is that of the accelerometer.
    bool init(const std::vector<Gyro>& gyro, const std::vector<TopBottomCorrection>& accel,
              std::uint16_t rate, VideoStabilizationMode::MODE mode, int frameRate, bool reversed,
              MetaBuilder::CAMERA_VERSION version);

    /// Appends to `yaws` the angles for the accelerometer's records, the first of which is where
    /// the turn begins. `sensorRate` must be set.
    void generate(const std::vector<Gyro>& gyro, const std::vector<TopBottomCorrection>& accel,
                  std::uint16_t gyroRate, bool lockDirection, bool reversed,
                  MetaBuilder::CAMERA_VERSION version);

    /// The angle in radians of a video frame; 0 without data.
    float acquire_yaw(int frame) const;

    /// Radians, one a frame record.
    std::vector<float> yaws;
    /// Frame records a second.
    std::uint16_t sensorRate = 30;
    float videoFrameRate = 30;
};
