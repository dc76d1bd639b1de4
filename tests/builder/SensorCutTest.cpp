#include "builder/SensorCut.h"

#include <gtest/gtest.h>

#include "sensor/AccelSensorStreamEmbed.h"
#include "tests/kit/Movies.h"
#include "tests/kit/SensorBoxes.h"

namespace {

using Sensors = AccelSensorStreamEmbed;
using Frames = std::vector<std::uint32_t>;

constexpr unsigned frameCount = 40;

/// The streams of a chapter of 40 frames every 10 ms, from `start` on: accelerometer and gyro read
/// more often, from before the first frame to behind the last, the compass once a frame, or in
/// steps of its own.
std::string boxes(bool bigEndian, std::uint64_t start, std::uint64_t compassStep = 0) {
    std::vector<Sensors::Gyro> gyro;
    std::vector<Sensors::Ecompass> compass;
    std::vector<Sensors::TopBottomCorrection> accelerometer;
    std::vector<unsigned long long> frames;
    for (unsigned i = 0; i < frameCount; ++i) {
        frames.push_back(start + i * 10'000'000ULL);
        compass.push_back({static_cast<float>(i), 1, 2, 77 + i * compassStep});
    }
    if (compassStep != 0) compass.pop_back();
    for (unsigned i = 0; i < 150; ++i) {
        const std::uint64_t time = start - 10'000'000 + i * 3'000'000ULL;
        accelerometer.push_back({static_cast<std::int16_t>(i * i), 1, 2, time});
        gyro.push_back({static_cast<float>(i), 1, 2, time + 1});
    }
    const kit::StreamLayout layout{.bigEndian = bigEndian};
    return kit::streamBox("KDTB", gyro, layout) + kit::streamBox("KDTC", compass, layout) +
           kit::streamBox("KDTD", accelerometer, layout) + kit::streamBox("KDTG", frames, layout);
}

SensorCut cutOf(const std::string& userData, const Frames& frames) {
    const kit::OpenedMovie opened(kit::sensorMovie(userData));
    std::vector<std::uint64_t> shownAt;
    for (unsigned i = 0; i < frameCount; ++i)
        shownAt.push_back(i * 10'000'000ULL);
    return {opened.movie, frames, frameCount, shownAt};
}

std::string joined(std::vector<std::string> parts) {
    std::string all;
    for (const std::string& part : parts)
        all += part;
    return all;
}

/// What the readers make of the streams of a movie.
struct Read {
    explicit Read(const std::string& userData) : opened(kit::sensorMovie(userData)) {
        std::uint16_t rate = 0;
        kit::captureOutput([&] {
            Sensors::loadM30_KDTD_with_KDTG(opened.movie, accelerometer, rate);
            Sensors::loadM29_KDTC(opened.movie, compass, rate);
            Sensors::loadM29_KDTB(opened.movie, gyro, rate);
        });
    }
    std::string row(std::size_t frame, std::uint64_t shift = 0) const {
        const auto& one = accelerometer.at(frame);
        return std::to_string(one.x) + "@" + std::to_string(one.timestamp - shift) + "/" +
               std::to_string(compass.at(frame).x);
    }

    kit::OpenedMovie opened;
    std::vector<Sensors::TopBottomCorrection> accelerometer;
    std::vector<Sensors::Ecompass> compass;
    std::vector<Sensors::Gyro> gyro;
};

}  // namespace

TEST(SensorCut, KeptFramesReadAsTheyDidInTheSource) {
    for (const bool bigEndian : {false, true}) {
        const std::string source = boxes(bigEndian, 1'000'000'000);
        const Read whole(source);
        for (const Frames& frames :
             {Frames{0}, Frames{39}, Frames{12, 13, 14, 17}, Frames{0, 39}}) {
            SensorCut cut = cutOf(source, frames);
            const Read part(joined(cut.boxes()));
            ASSERT_EQ(part.accelerometer.size(), frames.size());
            for (std::size_t i = 0; i < frames.size(); ++i)
                EXPECT_EQ(part.row(i), whole.row(frames[i]));
            EXPECT_TRUE(cut.leftOut.empty());
        }
        // No more than the frames need, and every byte as it was.
        const std::string bytes = joined(cutOf(source, {12, 13}).boxes());
        EXPECT_NEAR(static_cast<double>(Read(bytes).gyro.size()), 38, 2);
        const std::string record = bytes.substr(32, 24);
        EXPECT_NE(source.find(record), std::string::npos);
    }
}

TEST(SensorCut, TheAccelerometerGoesByNumberWhereItIsTheFramesClock) {
    std::vector<Sensors::TopBottomCorrection> samples;
    for (std::int16_t i = 0; i < static_cast<std::int16_t>(frameCount); ++i)
        samples.push_back({i, 0, 0, 5});
    const std::string cut = joined(cutOf(kit::streamBox("KDTD", samples), {3, 9}).boxes());
    const kit::OpenedMovie opened(kit::sensorMovie(cut));
    std::uint16_t rate = 0;
    Sensors::loadM29_KDTD(opened.movie, samples, rate);
    ASSERT_EQ(samples.size(), 2U);
    EXPECT_EQ(samples[1].x, 9);
}

TEST(SensorCut, KeepsACompassSampleAFrame) {
    const std::string slow = boxes(false, 10'000'000, 20'000'000);
    EXPECT_EQ(Read(joined(cutOf(slow, {0, 1, 2, 3, 4, 5}).boxes())).compass.size(), 6U);
}

TEST(SensorCut, ChaptersRunOnOneBehindTheOther) {
    const std::string first = boxes(false, 1'000'000'000), next = boxes(true, 77'000'000'000);
    const Frames all = [] {
        Frames numbers;
        for (std::uint32_t i = 0; i < frameCount; ++i)
            numbers.push_back(i);
        return numbers;
    }();
    SensorCut cut = cutOf(first, all);
    cut.join(cutOf(next, {5, 6, 7}), 400'000'000);
    const Read whole(first), second(next), both(joined(cut.boxes()));
    ASSERT_EQ(both.accelerometer.size(), 43U);
    for (std::size_t i = 0; i < frameCount; ++i)
        EXPECT_EQ(both.row(i), whole.row(i));
    const std::uint64_t shift = 1'400'000'000U - 77'050'000'000U;
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(both.row(frameCount + i, shift), second.row(5 + i));
    for (std::size_t i = 1; i < both.gyro.size(); ++i)
        EXPECT_GT(both.gyro[i].timestamp, both.gyro[i - 1].timestamp);
    // From the boundary on they are the next chapter's own, whose clock reads in other steps.
    for (const auto& sample : both.gyro) {
        if (sample.timestamp < 1'400'000'000) continue;
        EXPECT_EQ(sample.timestamp / 1'000'000 % 3, 2U) << sample.timestamp;
    }
    // A clock that runs on by itself is left as it is.
    SensorCut near = cutOf(first, {0});
    near.join(cutOf(boxes(false, 1'403'000'000), {0}), 400'000'000);
    EXPECT_EQ(Read(joined(near.boxes())).accelerometer.at(1).timestamp, 1'403'000'000U);
}

TEST(SensorCut, DamagedStreamsStayOutAndAreNamed) {
    std::string damaged = boxes(false, 1'000'000'000);
    damaged[8] = '\xFF';
    SensorCut cut = cutOf(damaged, {1, 2});
    EXPECT_EQ(cut.boxes().size(), 3U);
    EXPECT_EQ(cut.leftOut, std::vector<std::string>{"KDTB announces more records than it holds"});
}
