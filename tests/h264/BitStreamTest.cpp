#include <gtest/gtest.h>

#include <climits>
#include <functional>

#include "h264/EmulationPrevention.h"
#include "h264/GolombBitStream.h"
#include "tests/kit/Hex.h"
#include "tests/kit/TiffBuilder.h"

namespace {

GolombBitStream streamOf(std::string_view hex) {
    GolombBitStream stream;
    stream.attach(kit::fromHex(hex));
    return stream;
}

std::string written(const std::function<void(GolombBitStream&)>& write) {
    GolombBitStream stream;
    write(stream);
    ByteArray out;
    stream.bytes(out);
    return kit::toHex(out);
}

}  // namespace

TEST(GolombBitStream, UnsignedCodes) {
    const std::pair<unsigned, const char*> codes[] = {
        {0, "80"}, {65534, "0001fffe"}, {65535, "0000800000"}, {UINT_MAX, "000000008000000000"}};
    for (const auto& [number, hex] : codes) {
        EXPECT_EQ(written([number = number](auto& s) { s.write_golomb(number); }), hex);
        GolombBitStream stream = streamOf(hex);
        const auto reads = [&, number = number] { EXPECT_EQ(stream.read_golomb(), number); };
        EXPECT_EQ(kit::failureOf(reads), number <= 65534 ? "" : "too log golomb sream");
    }
}

TEST(GolombBitStream, SignedCodesAreNotInverse) {
    const int read[] = {0, 0, 1, -1, 2};
    const int write[] = {0, -1, 1, -2, 2};
    for (unsigned number = 0; number < 5; ++number) {
        const std::string code = written([&](auto& s) { s.write_golomb(number); });
        EXPECT_EQ(streamOf(code).read_golombs(), read[number]);
        EXPECT_EQ(written([&](auto& s) { s.write_golombs(write[number]); }), code);
    }
    EXPECT_EQ(written([](auto& s) { s.write_golombs(INT_MIN); }), "000000008000000000");
    const auto bytesInsideByte = [] { written([](auto& s) { s.write_bits(1, 1), s.write8(1); }); };
    EXPECT_EQ(kit::failureOf(bytesInsideByte), "bits existed");
}

TEST(EmulationPrevention, StandsBehindTwoZerosOrMore) {
    EXPECT_EQ(kit::toHex(H264::unescape(kit::fromHex("00000003010003000003"))), "0000000100030000");
}
