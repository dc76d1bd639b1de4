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

/// A stream with samples that bear their number in every byte.
std::string stored(int version, unsigned samples) {
    const unsigned header = version == 1 ? 16 : 32, record = version == 1 ? 12 : 16;
    std::string bytes = kit::u16(static_cast<unsigned>(version)) + kit::u16(0x1234) +
                        kit::u32(samples) + kit::u32(0x01020304) + kit::zeros(header - 12);
    for (unsigned i = 1; i <= samples; ++i)
        bytes += std::string(record, static_cast<char>(i));
    return bytes;
}

/// What `trim` gives: "failed", or the returned length, the count and the samples in that length.
std::string trimmed(int version, unsigned samples, std::uint64_t length, std::uint32_t start,
                    std::uint32_t count) {
    const std::string bytes = stored(version, samples);
    auto* stream = new unsigned char[bytes.size()];
    std::copy(bytes.begin(), bytes.end(), stream);
    const std::uint64_t result = AxisTiltStream::trim(stream, length, start, count);
    const std::unique_ptr<unsigned char[]> owner(stream);
    if (result == 0) return "failed";
    std::string text = std::to_string(result) + " n" + std::to_string(stream[7]) + ":";
    for (std::uint64_t at = 32; at + 16 <= result; at += 16)
        text += ' ' + kit::toHex({stream + at, 1}) + kit::toHex({stream + at + 15, 1});
    return text;
}

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

TEST(AxisTiltStream, ConvertsVersion1OfExactlyItsLength) {
    std::string old = stored(1, 2);
    const auto converted = [&](std::uint64_t length) {
        const auto* from = reinterpret_cast<const unsigned char*>(old.data());
        const std::unique_ptr<unsigned char[]> bytes(AxisTiltStream::convert(from, length));
        return bytes == nullptr ? "" : kit::toHex({bytes.get(), length});
    };
    EXPECT_EQ(converted(40), "000212340000000201020304" + std::string(40, '0') +
                                 "01010101010101010101010100000000" +
                                 "02020202020202020202020200000000");
    EXPECT_EQ(kit::captureOutput([&] {
                  for (const std::uint64_t wrong : {15, 39})
                      EXPECT_EQ(converted(wrong), "");
                  old.replace(4, 4, 4, '\xFF');
                  EXPECT_EQ(converted(40), "");
                  EXPECT_EQ(trimmed(2, 5, 111, 0, 1), "failed");
                  EXPECT_EQ(trimmed(1, 3, 51, 0, 1), "failed");
              }),
              "Not enough length for V1. required 40.\nNot enough length for V1. required 40.\n"
              "Not enough length for V1. required 51539607556.\n"
              "Not enough length. required 112.\nNot enough length for V1. required 52.\n");
}

TEST(AxisTiltStream, TrimsToTheLengthAskedFor) {
    EXPECT_EQ(trimmed(2, 5, 112, 1, 3), "80 n3: 0202 0303 0404");
    EXPECT_EQ(trimmed(2, 5, 112, 3, 6), "128 n2: 0404 0505 0000 0000 0000 0000");
    EXPECT_EQ(trimmed(1, 3, 52, 1, 2), "64 n2: 0200 0300");
    for (const std::uint32_t start : {5U, 6U, UINT32_MAX})
        EXPECT_EQ(trimmed(2, 5, 112, start, 1), "failed");
    EXPECT_EQ(trimmed(2, 5, 112, 0, 0), "failed");
    EXPECT_EQ(trimmed(1, 1, 28, 0, 1), "failed");
}
