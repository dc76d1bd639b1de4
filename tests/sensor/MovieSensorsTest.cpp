#include "sensor/MovieSensors.h"

#include <gtest/gtest.h>

#include "tests/kit/Movies.h"
#include "tests/kit/SensorBoxes.h"

using namespace kit;

namespace {

using Streams = AccelSensorStreamEmbed;

/// A camera that turns while it stands upright for a moment and then leans over, or always stands
/// on its head: both verdicts differ. With this compass and these frame times.
std::string turning(std::int16_t first, const std::string& compass, const std::string& times) {
    std::vector<Streams::Gyro> gyro;
    std::vector<Streams::TopBottomCorrection> accel;
    for (std::uint64_t i = 0; i < 60; ++i)
        gyro.push_back({0.1F, 0.2F, 0.3F, i * 10000000});
    for (std::uint64_t i = 0; i < 10; ++i)
        accel.push_back({0, 1900, i == 0 ? first : std::int16_t{-4096}, 200000000 + i * 33000000});
    accel[0].y = 0;
    return sensorMovie(streamBox("KDTB", gyro) + compass + streamBox("KDTD", accel) + times);
}

}  // namespace

// Each stream is read once; lines and angles are those of the readers that load for themselves.
TEST(MovieSensors, AnswerAsTheSeparateReadersDo) {
    const std::vector<Streams::Ecompass> field(30, {1, 2, 3, 0});
    const std::vector<unsigned long long> late = {200000000, 201000000, 99999999999};
    const std::string wrong = streamBox("KDTC", field, {.unitSize = 9});
    const std::string movies[] = {
        turning(4096, streamBox("KDTC", field), ""),
        turning(-4096, streamBox("KDTC", field), ""),
        turning(4096, wrong, streamBox("KDTG", late)),
        turning(-4096, streamBox("KDTC", field), streamBox("KDTG", late)),
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
            for (std::size_t i = 1; i < yaw.yaws.size() && bytes.size() > 2000; ++i)
                EXPECT_NE(yaw.yaws[i], 0) << i;
        }
    }
}
