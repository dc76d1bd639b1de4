#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "exif/CameraVersion.h"
#include "sensor/AccelSensorStreamEmbed.h"
#include "sensor/VideoStabilizationMode.h"
#include "sensor/YawStabilizer.h"

/// The motion sensors of one movie and what follows from them, with every stream read from the
/// file once.
struct MovieSensors {
    /// Reads the streams.
    void load(const MP4::Container& movie);
    /// Judges how the camera was held and computes its yaw. Deliberate: prints the lines of the
    /// loads that the two once did for themselves, since consumers know the output so.
    void analyse(VideoStabilizationMode::MODE mode, int frameRate,
                 MetaBuilder::CAMERA_VERSION version);

    std::vector<AccelSensorStreamEmbed::Gyro> gyro;
    std::vector<AccelSensorStreamEmbed::Ecompass> compass;
    /// One a frame where the movie has frame timestamps.
    std::vector<AccelSensorStreamEmbed::TopBottomCorrection> topBottom;
    std::vector<unsigned long long> frameTimes;
    /// Samples a second, as the streams state them.
    std::uint16_t gyroRate = 0;
    std::uint16_t compassRate = 0;
    std::uint16_t topBottomRate = 0;
    bool upDownReversed = false;
    YawStabilizer stabilizer;

  private:
    /// What the loads printed.
    std::string gyroLines;
    std::string compassLines;
    std::string topBottomLines;
};
