#include <gtest/gtest.h>

#include "sensor/AccelSensorStreamEmbed.h"
#include "support/WideText.h"
#include "tests/kit/Movies.h"
#include "tests/kit/SensorBoxes.h"

using namespace kit;
using Streams = AccelSensorStreamEmbed;
using Accel = Streams::TopBottomCorrection;
using Rows = std::vector<std::vector<double>>;

namespace {

template <class T>
Rows rowsOf(const std::vector<T>& samples) {
    Rows rows;
    for (const T& s : samples)
        rows.push_back({double(s.x), double(s.y), double(s.z), double(s.timestamp)});
    return rows;
}

struct Loaded {
    Rows rows;
    std::uint16_t rate = 77;
    std::string printed;
};

template <class T>
Loaded load(void (*loader)(const MP4::Container&, std::vector<T>&, std::uint16_t&),
            const std::string& boxes) {
    const OpenedMovie opened(sensorMovie(boxes));
    Loaded result;
    std::vector<T> samples(3);
    result.printed = captureOutput([&] { loader(opened.movie, samples, result.rate); });
    result.rows = rowsOf(samples);
    return result;
}

const std::vector<Accel> fourSamples = {
    {0, 100, -32768, 1000}, {10, -100, 32767, 2000}, {13, 7, 0, 3000}, {20, 8, 1, 4000}};

}  // namespace

TEST(StreamLoader, BothByteOrdersGiveEqualSamples) {
    for (const bool big : {false, true}) {
        const StreamLayout layout{.bigEndian = big, .rate = 200};
        const auto check = [&](auto loader, const auto& samples, const char* code) {
            const Loaded loaded = load(loader, streamBox(code, samples, layout));
            EXPECT_EQ(loaded.rows, rowsOf(samples));
            EXPECT_EQ(loaded.rate, 200);
        };
        const std::uint64_t time = 0x1000000000003;
        check(Streams::loadM29_KDTB, std::vector<Streams::Gyro>{{0.5F, -2, 1e-7F, time}}, "KDTB");
        check(Streams::loadM29_KDTC, std::vector<Streams::Ecompass>{{9, -2, 1e9F, time}}, "KDTC");
        check(Streams::loadM30_KDTD_with_KDTG, fourSamples, "KDTD");
        // With frame times: the samples between which each lies; the cursor never goes back.
        const std::vector<unsigned long long> times = {500,  1000, 1250, 2999,
                                                       3500, 4000, 4001, 100};
        const Loaded frames =
            load(Streams::loadM30_KDTD_with_KDTG,
                 streamBox("KDTD", fourSamples, layout) + streamBox("KDTG", times, layout));
        EXPECT_EQ(frames.printed,
                  "KDTD: End of data : use 4000 for 4001\nKDTD: End of data : use 4000 for 100\n");
        EXPECT_EQ(frames.rows, (Rows{{0, 100, -32768, 1000},
                                     {0, 100, -32768, 1000},
                                     {2, 50, -16384, 1250},
                                     {12, 6, 32, 2999},
                                     {16, 7, 0, 3500},
                                     {20, 8, 1, 4000},
                                     {20, 8, 1, 4000},
                                     {20, 8, 1, 4000}}));
    }
}

TEST(StreamLoader, MalformedHeadersPrintTheirLines) {
    const std::vector<Streams::Gyro> two(2);
    const auto invalid = [](const char* unit, const char* mark) {
        return std::string("KDTB: Invalid header. unitSize(expect 24, but ") + unit +
               "), endian(expect 3210/0123, but " + mark + ").\n";
    };
    const std::pair<std::string, std::string> cases[] = {
        {box("KDTB", zeros(15)), "KDTB: Not enough length. except less than 24, but 23.\n"},
        {streamBox("KDTB", two, {.unitSize = 16}), invalid("16", "0123")},
        {streamBox("KDTB", two, {.mark = 0x3210}), invalid("6144", "3210")},
        {streamBox("KDTB", two, {.count = 3}),
         "KDTB: Not enough length. except less than 24+24*3(=96), but 72.\n"},
        {boxClaiming(72, "KDTB"), invalid("0", "0000")},  // the file ends there
    };
    for (const auto& [bytes, line] : cases) {
        const Loaded loaded = load(Streams::loadM29_KDTB, bytes);
        EXPECT_EQ(loaded.printed, line);
        EXPECT_EQ(loaded.rate + loaded.rows.size(), 0U);
    }
    // The boxes of one name append, past a malformed one.
    const Loaded joined =
        load(Streams::loadM29_KDTB, streamBox("KDTB", two) + streamBox("KDTB", two, {.mark = 1}) +
                                        streamBox("KDTB", two, {.bigEndian = true, .rate = 9}));
    EXPECT_EQ(joined.rows.size(), 4U);
    EXPECT_EQ(joined.rate, 9);
    // A tree that was parsed from a caller's handle names a file, which each box then asks for and
    // misses; one that is too short needs none.
    const OpenedMovie parsed(
        sensorMovie(streamBox("KDTB", two) + box("KDTB") + streamBox("KDTB", two)));
    MP4::Container gone;
    parsed.movie.open([&](WEKU::FileIO& handle) {
        MP4::BinFile file(handle);
        gone.parse(file, MP4::Container::wholeFile);
    });
    gone.path = L"gone";
    const std::string line = "open(gone, 'r') failed.\n";
    std::vector<Streams::Gyro> none;
    std::uint16_t rate = 0;
    EXPECT_EQ(captureOutput([&] { Streams::loadM29_KDTB(gone, none, rate); }),
              line + "KDTB: Not enough length. except less than 24, but 8.\n" + line);
}

TEST(StreamLoader, ARecordThatTheFileCutsKeepsWhatIsThere) {
    for (const bool big : {false, true}) {
        const std::vector<unsigned long long> times = {0x0102030405060708, 0x1112131415161718};
        std::string bytes = sensorMovie(streamBox("KDTG", times, {.bigEndian = big}));
        bytes.resize(bytes.size() - 3);
        const OpenedMovie opened(bytes);
        std::vector<unsigned long long> loaded;
        std::uint16_t rate = 0;
        Streams::loadM30_KDTG(opened.movie, loaded, rate);
        const unsigned long long cut = big ? 0x1112131415000000 : 0x1415161718;
        EXPECT_EQ(loaded, (std::vector<unsigned long long>{times[0], cut}));
    }
}

TEST(StreamLoader, CountsBeyondTheFileStayInProportion) {
    // 178,956,971 records of 24 bytes: the product wraps to 8.
    const std::string wrapping = streamBox(
        "KDTB", std::vector<Streams::Gyro>{{1, 2, 3, 4}, {5, 6, 7, 8}}, {.count = 178956971});
    const Loaded one = load(Streams::loadM29_KDTB, wrapping);
    ASSERT_EQ(one.rows.size(), 2U + 65536U);
    EXPECT_EQ((Rows{one.rows[1], one.rows[2]}), (Rows{{5, 6, 7, 8}, {0, 0, 0, 0}}));
}
