#include "builder/AxisTiltStream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <stdexcept>

#include "tests/kit/BoxBuilder.h"
#include "tests/kit/Files.h"
#include "tests/kit/Hex.h"

namespace {

std::string binaryOf(const AxisTiltStream& stream) {
    std::uint64_t length = 99;
    const std::unique_ptr<unsigned char[]> bytes(stream.toBinary(length));
    return kit::toHex({bytes.get(), length});
}

/// What `trim` makes of a stream of this version and length, whose samples bear their number in
/// every byte: the length and, as far as the header counts them, the bytes. Empty when it fails.
std::string trimmed(int version, unsigned samples, std::uint64_t length, std::uint32_t start,
                    std::uint32_t count) {
    std::string bytes = kit::u16(static_cast<unsigned>(version)) + kit::u16(0x1234) +
                        kit::u32(samples) + kit::u32(0x01020304) +
                        kit::zeros(version == 1 ? 4 : 20);
    for (unsigned i = 1; i <= samples; ++i)
        bytes += std::string(version == 1 ? 12 : 16, static_cast<char>(i));
    auto* stream = new unsigned char[bytes.size()];
    std::copy(bytes.begin(), bytes.end(), stream);
    const unsigned char* const given = stream;
    const std::uint64_t result = AxisTiltStream::trim(stream, length, start, count);
    const std::unique_ptr<unsigned char[]> owner(stream);
    EXPECT_TRUE(version == 1 || stream == given);
    if (result == 0) return {};
    return std::to_string(result) + ":" + kit::toHex({stream, 32U + 16U * stream[7]});
}

std::string sample(char number) {
    std::string digits;
    while (digits.size() < 32)
        digits += {'0', number};
    return digits;
}

const std::string one = "000212340000000101020304" + std::string(40, '0');

}  // namespace

TEST(AxisTiltStream, WritesWholeDegreesBehindItsHeader) {
    AxisTiltStream stream;
    EXPECT_EQ(binaryOf(stream), "");
    stream.samples = {{-0.5F, 0.0174532924F, 3.1415927F, 9, 0x01020304}, {NAN, 1e30F, 0.0F, 0, 5}};
    stream.flag = 0x100;
    const std::string first = "ffffffe400000001000000b401020304";
    const std::string second = "80000000800000000000000000000005";
    EXPECT_EQ(binaryOf(stream), "0002000100000002ffffffff" + std::string(40, '0') + first + second);
    stream.referenceIndex = 1;
    stream.flag = 0;
    EXPECT_EQ(binaryOf(stream), "000200000000000200000001" + second + "00000000" + first + second);
    stream.referenceIndex = 2;
    EXPECT_THROW(binaryOf(stream), std::out_of_range);
}

TEST(AxisTiltStream, TrimsToTheLengthAskedFor) {
    EXPECT_EQ(trimmed(2, 5, 112, 4, 1), "48:" + one + sample('5'));
    EXPECT_EQ(trimmed(2, 2, 64, 1, UINT32_MAX), "68719476752:" + one + sample('2'));
    // Version 1 has no compass; it is converted on the way.
    EXPECT_EQ(trimmed(1, 3, 52, 2, 1), "48:" + one + sample('3').substr(8) + "00000000");
    for (const std::uint32_t start : {5U, 6U, UINT32_MAX})
        EXPECT_EQ(trimmed(2, 5, 112, start, 1), "");
    EXPECT_EQ(trimmed(2, 5, 112, 0, 0), "");
    EXPECT_EQ(kit::captureOutput([] {
                  EXPECT_EQ(trimmed(2, 5, 31, 0, 1), "");
                  EXPECT_EQ(trimmed(2, 5, 111, 0, 1), "");
                  EXPECT_EQ(trimmed(1, 3, 51, 0, 1), "");
              }),
              "Not enough length. required 112.\nNot enough length for V1. required 52.\n");
}
