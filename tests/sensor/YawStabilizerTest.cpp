#include "sensor/YawStabilizer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/Geometry.h"
#include "tests/kit/Movies.h"
#include "tests/kit/SensorBoxes.h"

using Gyro = YawStabilizer::Gyro;
using Accel = YawStabilizer::TopBottomCorrection;

namespace {

constexpr std::uint64_t millisecond = 1000000;

/// Gyro samples every 5 ms, from one frame time before the first.
std::vector<Gyro> gyroOf(std::size_t count, float x, float y, float z) {
    std::vector<Gyro> samples;
    for (std::size_t i = 0; i < count; ++i)
        samples.push_back({x, y, z, i * 5 * millisecond});
    return samples;
}

/// Frame records every 33 ms, from 100 ms on.
std::vector<Accel> framesOf(std::size_t count, Accel gravity) {
    std::vector<Accel> frames(count, gravity);
    for (std::size_t i = 0; i < count; ++i)
        frames[i].timestamp = (100 + 33 * i) * millisecond;
    return frames;
}

std::vector<float> yawsOf(const std::vector<Gyro>& gyro, const std::vector<Accel>& frames,
                          bool lock = false, bool reversed = false) {
    YawStabilizer yaw;
    yaw.sensorRate = 30;
    const auto generate = [&] {
        yaw.generate(gyro, frames, 200, lock, reversed, MetaBuilder::CAMERA_Q7);
    };
    generate();
    // Angles append, and each series begins anew.
    const std::vector<float> once = yaw.yaws;
    generate();
    EXPECT_EQ(yaw.yaws.size(), 2 * once.size());
    EXPECT_TRUE(std::equal(once.begin(), once.end(), yaw.yaws.end() - std::ssize(once)));
    return once;
}

}  // namespace

TEST(YawStabilizer, ATurnGrowsWhenLockedAndSettlesOtherwise) {
    // About the vertical of a level camera, 0.1 radians a second.
    const auto gyro = gyroOf(30000, 0, 0, 0.1F);
    const auto frames = framesOf(3000, {0, 0, 1000, 0});
    const auto locked = yawsOf(gyro, frames, true);
    const auto normal = yawsOf(gyro, frames);
    const auto reversed = yawsOf(gyro, framesOf(3000, {0, 0, -1000, 0}), true, true);
    EXPECT_NEAR(locked[450], -0.0033 * 450, 1e-3);
    EXPECT_NEAR(reversed[450], -locked[450], 1e-6);
    const auto onItsSide = yawsOf(gyroOf(900, 0.1F, 0, 0), framesOf(3000, {1000, 0, 0, 0}), true);
    EXPECT_NEAR(onItsSide[100], 0.0033 * 100, 1e-3);
    // The lag of a first-order high-pass: rate times time constant. Past half a turn, unwrapped.
    EXPECT_NEAR(normal[2000], -0.0033 * 30 / (2 * M_PI * 0.1), 2e-3);
    const auto back = yawsOf(gyroOf(30000, 0, 0, -0.1F), frames);
    for (std::size_t k = 1; k < normal.size(); ++k) {
        ASSERT_LT(std::abs(normal[k] - normal[k - 1]), 0.01) << k;
        ASSERT_NEAR(back[k], -normal[k], 1e-3) << k;
    }
}

TEST(YawStabilizer, GyroLagsTheFrame) {
    // One sample turns; the first frame that feels it shows where the cursor stands.
    const auto feltAt = [](std::size_t turning, std::vector<Accel> frames) {
        auto gyro = gyroOf(100, 0, 0, 0);
        gyro[turning].z = 1;
        const auto yaws = yawsOf(gyro, frames, true);
        return std::find_if(yaws.begin(), yaws.end(), [](float y) { return y != 0; }) -
               yaws.begin();
    };
    auto frames = framesOf(3, {0, 0, 1000, 0});
    // Frame 1 at 130 ms: sample 27 is the first above it, six back is the cursor, one more the
    // sample.
    frames[1].timestamp = 130 * millisecond;
    EXPECT_EQ(feltAt(20, frames), 1);
    EXPECT_EQ(feltAt(27, frames), 2);
    EXPECT_EQ(feltAt(19, frames), 3);
    // Six samples before the frame: the first one. Fewer: the last sample, for good.
    frames[0].timestamp = 0;
    frames[1].timestamp = 29 * millisecond;
    EXPECT_EQ(feltAt(0, frames), 1);
    frames[1].timestamp = 24 * millisecond;
    EXPECT_EQ(feltAt(99, frames), 1);
    EXPECT_EQ(feltAt(26, frames), 3);
}

TEST(YawStabilizer, LoadsWhatTheModeNeedsAndReadsAnglesByVideoFrame) {
    const std::string gyro = kit::streamBox("KDTB", gyroOf(99, 0, 0, 1));
    const std::string accel = kit::streamBox("KDTD", framesOf(9, {0, 0, 1000, 0}), {.rate = 60});
    YawStabilizer yaw;
    const auto angles = [&](const std::string& boxes, VideoStabilizationMode::MODE mode) {
        const kit::OpenedMovie opened(kit::sensorMovie(boxes));
        yaw.yaws = {1};
        yaw.init(opened.movie, mode, 15, false, MetaBuilder::CAMERA_PD);
        return yaw.yaws.size();
    };
    const auto enabled = VideoStabilizationMode::ENABLED;
    EXPECT_EQ(kit::captureOutput([&] {
                  EXPECT_EQ(angles(gyro + accel, VideoStabilizationMode::DISABLED), 0U);
                  EXPECT_EQ(angles(gyro, enabled), 0U);
                  EXPECT_EQ(yaw.acquire_yaw(5), 0);
                  EXPECT_EQ(angles(gyro + accel, enabled), 9U);
              }),
              "KDTD: No KDTG entries.\nNo metadata for yaw-stabilizer.\nKDTD: No KDTG entries.\n"
              "Unsupported camera version for yaw-stabilizer - 11001, use default.\n");
    EXPECT_EQ(kit::captureOutput([] {
                  for (const auto version : {MetaBuilder::CAMERA_W, MetaBuilder::CAMERA_Q7})
                      YawStabilizer::Config{version};
              }),
              "");
    yaw.yaws = {0, 1, 2, 3, 4, 5, 6, 7, 8};
    for (const auto& [frame, index] : {std::pair{-1, 0}, {1, 4}, {2, 8}, {INT32_MAX, 8}})
        EXPECT_EQ(yaw.acquire_yaw(frame), index);
}

TEST(YawStabilizer, ATurnOfTheAxesIsAMatrix) {
    const auto turn = WEKU2::Quaternion<double>{0.5, 0.5, 0.5, 0.5}.toMatrix();
    for (const auto& [row, expected] : {std::pair{0, 100.0}, {1, 1.0}, {2, 10.0}})
        EXPECT_EQ(turn.rows[row].dot({1, 10, 100}), expected) << row;
}
