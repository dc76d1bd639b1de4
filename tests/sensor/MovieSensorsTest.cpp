#include "sensor/MovieSensors.h"

#include <gtest/gtest.h>

#include "tests/kit/BoxBuilder.h"
#include "tests/kit/SensorBoxes.h"

using namespace kit;

namespace {

using Streams = AccelSensorStreamEmbed;

/// A camera on its head that turns, with this compass and these frame times.
std::string turning(const std::string& compass, const std::string& times) {
    std::vector<Streams::Gyro> gyro;
    std::vector<Streams::TopBottomCorrection> accel;
    for (std::uint64_t i = 0; i < 30; ++i) {
        gyro.push_back({0.1F, 0.2F, 0.3F, i * 10000000});
        accel.push_back({0, 300, -4096, i * 33000000});
    }
    return sensorMovie(streamBox("KDTB", gyro) + compass + streamBox("KDTD", accel) + times);
}

}  // namespace

// Each stream is read once; lines and angles are those of the readers that load for themselves.
TEST(MovieSensors, AnswerAsTheSeparateReadersDo) {
    const std::vector<Streams::Ecompass> field(30, {1, 2, 3, 0});
    const std::vector<unsigned long long> late = {0, 1000000, 99999999999};
    const std::string wrong = streamBox("KDTC", field, {.unitSize = 9});
    const std::string movies[] = {
        turning(streamBox("KDTC", field), ""),
        turning(wrong, streamBox("KDTG", late)),
        turning(streamBox("KDTC", field), streamBox("KDTG", late)),
        sensorMovie(box("KDTB") + wrong + box("KDTD")),
    };
    for (const std::string& bytes : movies) {
        const OpenedMovie opened(bytes);
        for (const auto mode :
             {VideoStabilizationMode::DISABLED, VideoStabilizationMode::LOCK_DIRECTION}) {
            MovieSensors once;
            const std::string lines = captureOutput([&] {
                once.load(opened.movie);
                once.analyse(mode, 15, MetaBuilder::CAMERA_P);
            });
            MovieSensors each;
            YawStabilizer yaw;
            EXPECT_EQ(lines, captureOutput([&] {
                          Streams::loadM29_KDTB(opened.movie, each.gyro, each.gyroRate);
                          Streams::loadM29_KDTC(opened.movie, each.compass, each.compassRate);
                          Streams::loadM30_KDTD_with_KDTG(opened.movie, each.topBottom,
                                                          each.topBottomRate);
                          Streams analyser;
                          (void)analyser.loadM29(opened.movie, 15);
                          yaw.init(opened.movie, mode, 15, analyser.upDownReversed,
                                   MetaBuilder::CAMERA_P);
                      }));
            EXPECT_EQ(once.gyro.size(), each.gyro.size());
            EXPECT_EQ(once.compassRate, each.compassRate);
            EXPECT_EQ(once.topBottom.size(), each.topBottom.size());
            EXPECT_EQ(once.stabilizer.yaws, yaw.yaws);
        }
    }
}
