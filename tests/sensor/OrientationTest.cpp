#include <gtest/gtest.h>

#include <cmath>

#include "sensor/AccelSensorStreamEmbed.h"
#include "sensor/Filters.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/Files.h"

using Streams = AccelSensorStreamEmbed;
using Info = Streams::TAccelSensorInfo;

TEST(Orientation, HeadingsWrapAt16Bits) {
    // Level, and pitched about the x axis.
    for (const double pitch : {0.0, 0.7, -2.0}) {
        const auto turned = [&](double x, double y) {
            return WEKU::Vector3{float(x), float(y * std::cos(pitch)), float(y * std::sin(pitch))};
        };
        const WEKU::Vector3 gravity = turned(0, -10000);
        Info info{0, std::int16_t(gravity.y), std::int16_t(gravity.z), 0, 0, 0};
        for (const auto& [degrees, heading] : {std::pair{90, 9000}, {350, 35000 - 65536}}) {
            const double angle = degrees * M_PI / 180;
            const WEKU::Vector3 north = turned(-std::sin(angle), std::cos(angle));
            Streams::calcOrientation(info, {north.x, north.y, north.z, 0});
            EXPECT_NEAR(info.heading, heading, 1) << pitch;
        }
    }
}

TEST(Orientation, BringsSamplesIntoTheCameraFrame) {
    Streams streams;
    const std::string lines = kit::captureOutput([&] {
        EXPECT_FALSE(streams.loadM29({{100, 0, 0, 0}}, {{1, 2, 3000, 4}, {1, 2, 3000, 5}}, 15));
        EXPECT_TRUE(streams.loadM29({{100, 0, 0, 0}}, {{1, 2, 3000, 4}}, 15));
    });
    EXPECT_TRUE(lines.starts_with("KDTC/KDTD is not enough size.\n  KDTC:   1\n  KDTD/G: 2\n"));
    const Info& info = streams.infos.at(0);
    EXPECT_EQ((std::vector<int>{info.x, info.y, info.z, streams.frameStep}),
              (std::vector<int>{-1, -3000, -2, 2}));
    EXPECT_NEAR(info.heading, 27000, 10);
}

TEST(Orientation, DetectsAReversedMounting) {
    const Info up{0, 1000, 0, 0, 0, 0}, down{0, -1000, 0, 0, 0, 0}, tilted{0, 1000, 1000, 0, 0, 0};
    const Info leaning{0, 1000, 300, 0, 0, 0};
    const std::pair<std::vector<Info>, std::string> cases[] = {
        {{up, up}, "[P]200000.000000, [N]:0.000000 -> Y\nrev-front:   [F]2.000000 -> Y\n"},
        {{up, leaning}, "[P]100003.476562, [N]:0.000000 -> Y\nrev-front:   [F]1.957826 -> Y\n"},
        {{up, down, down},
         "[P]100000.000000, [N]:200000.000000 -> N\nrev-front:   [F]3.000000 -> N\n"},
        // 45 degrees count for neither side; the zero vector for 1 in the front score alone.
        {{tilted, {}}, "[P]0.000000, [N]:0.000000 -> N\nrev-front:   [F]0.292893 -> N\n"},
    };
    for (const auto& [infos, lines] : cases) {
        Streams streams;
        streams.infos = infos;
        EXPECT_EQ(kit::captureOutput([&] {
                      streams.detectReverse();
                      streams.detectReverseFront();
                  }),
                  "rev-up/down: " + lines);
        EXPECT_EQ(streams.frontReversed, infos.back().y > 0);
    }
}

TEST(RawAccel, ReadsFiltersAndSurvivesCuts) {
    // Twelve header numbers (1, 2, ...), the first of which is the count; then equal entries.
    std::string bytes = kit::u32(1000);
    for (unsigned field = 2; field <= 12; ++field)
        bytes += kit::u32(field);
    for (unsigned i = 0; i < 1000; ++i)
        bytes += kit::u16(20000) + kit::u16(65536 - 20000) + kit::u16(100) + kit::u32(0xFFFC0005) +
                 kit::u16(9);
    Streams streams;
    const auto load = [&](std::size_t length) {
        const kit::TempFolder folder;
        const std::wstring path = folder.write("raw", bytes.substr(0, length));
        WEKU::FileIO opened(path, L'r');
        bool loaded = false;
        kit::captureOutput([&] { loaded = streams.load(0, opened, true); });
        return loaded;
    };
    EXPECT_TRUE(load(bytes.size()));
    EXPECT_EQ(streams.frameStep, 12);
    const Info& info = streams.infos[999];
    EXPECT_EQ((std::vector<int>{info.x, info.y, info.z, info.heading, info.temperature}),
              (std::vector<int>{20002, -20002, 100, -4, 5}));
    // A correction by temperature and an offset, which may be anything: the integers wrap.
    streams.tempCompensation = 1;
    streams.tempGain = streams.tempCoeffZ = 100;
    streams.tempOffset = 0;
    EXPECT_EQ(streams.axis(2000).z, 100 + 9 + 16 * (25 - 5));
    streams.offsetX = INT32_MAX;
    EXPECT_LT(streams.axis(-1).x, 0);
    // A cut entry is none.
    EXPECT_FALSE(load(48 + 23));
    EXPECT_EQ(streams.infos.size(), 1U);
}

TEST(Filters, ConvolveWithReplicatedEdges) {
    std::vector<double> out(3);
    covFilter<double>({}, {1, 2, 3}, out);
    EXPECT_TRUE(out.empty());
    covFilter<double>({1, 10, 100}, {1, 2, 3}, out);
    EXPECT_EQ(out, (std::vector<double>{33, 321, 510}));
}

TEST(Filters, AnswerAnImpulseWithTheirKernels) {
    // clang-format off
    const std::tuple<decltype(&filterForAcc), unsigned, double, double, double, double> cases[] = {
        {filterForAcc, 150, 1.0001, 0.005055157551912988, 0.000550534627094975, 0.00695370241241445},
        {filterForGap, 35, 1.0001, 0.02162321289271018, 0.000754820452491311, 0.0297464025277169},
        {filterForGap30, 150, 0.99999, 0.010574826052861903, 0.00013606671733066276, 0.012941838186242888},
    };
    // clang-format on
    for (const auto& [filter, half, sum, energy, first, centre] : cases) {
        std::vector<double> in(401), out;
        in[200] = 1;
        filter(in, out);
        double all = 0, squares = 0;
        for (std::size_t i = 0; i < out.size(); ++i) {
            all += out[i];
            squares += out[i] * out[i];
            EXPECT_EQ(out[i], out[400 - i]) << i;
        }
        EXPECT_NEAR(all, sum, 1e-13);
        EXPECT_NEAR(squares, energy, 1e-15);
        EXPECT_EQ(out[200], centre);
        EXPECT_EQ(out[200U - half], first);
        EXPECT_EQ(out[199U - half], 0);
    }
}
