#include <gtest/gtest.h>

#include "h264/AvcFlagPatch.h"
#include "tests/h264/ParameterSets.h"
#include "tests/kit/TiffBuilder.h"

using namespace h264test;
using H264::AvcRecord;
using H264::SequenceParameterSet;
using kit::failureOf;
using kit::toHex;

namespace {

template <class Syntax>
Syntax parsed(const ByteArray& bytes) {
    Syntax syntax;
    syntax.parse(bytes);
    return syntax;
}

void throwsOrRoundTrips(const ByteArray& bytes) {
    std::string back = toHex(bytes);
    failureOf([&] { back = toHex(parsed<SequenceParameterSet>(bytes).write()); });
    EXPECT_EQ(back, toHex(bytes));
}

}  // namespace

TEST(ParameterSet, SamplesAreUnderstoodAndAnyDamageThrowsOrRoundTrips) {
    for (const Sample& sample : kSamples) {
        SCOPED_TRACE(sample.name);
        const ByteArray whole = fromHex(sample.hex);
        EXPECT_TRUE(sample.states(parsed<SequenceParameterSet>(whole)));
        for (std::uint64_t bit = 0; bit < whole.length() * 8; ++bit) {
            ByteArray damaged = whole;
            damaged.data()[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
            throwsOrRoundTrips(damaged);
            throwsOrRoundTrips(ByteArray(whole.data(), bit / 8));
        }
    }
}

TEST(ParameterSet, RefusesWhatTheStandardForbids) {
    const std::pair<const char*, const char*> sets[] = {
        {"e742000dda0507e4", "forbidden_zero_bit is 1"},
        {"6742000dda0507e0", "rbsp_stop_one_bit is 0"},
        {"6742000dda0507e6", "emulation prevention or alignment bits are not the standard's"},
        {"6742000d0000000080", "an Exp-Golomb code is longer than 63 bits"},
        {"6742000dd3008080", "num_ref_frames_in_pic_order_cnt_cycle exceeds 255"},
        {"6764000d94", "chroma_format_idc exceeds 3"},
        {"6764000dade00810", "delta_scale is out of range"},
        {"6742000dda0507e82084", "cpb_cnt_minus1 exceeds 31"},
    };
    for (const auto& [hex, text] : sets)
        EXPECT_EQ(failureOf([h = hex] { parsed<SequenceParameterSet>(fromHex(h)); }), text) << hex;
}

TEST(AvcFlagPatch, AddsTheStandardsBitsAndLeavesOtherProfilesAlone) {
    // One VUI flag, and the VUI: 001, format 101, full range, 0 to the end.
    const ByteArray patched =
        H264::setConstraintSet1AndFullRange(recordOf(fromHex("6742000dda0507e4")), true);
    const auto record = parsed<AvcRecord>(patched);
    EXPECT_EQ(toHex(record.sequenceParameterSets[0]), "6742400dda0507e9b010");
    EXPECT_EQ(record.profileCompatibility, 0x40);

    const ByteArray main = fromHex("014d000dffe100026742010002688b");
    EXPECT_EQ(H264::setConstraintSet1AndFullRange(main, true), main);

    auto large = parsed<SequenceParameterSet>(fromHex("6742000dda0507e4"));
    large.surplus.setLength(65535 - large.write().length());
    const ByteArray full = recordOf(large.write());
    EXPECT_EQ(failureOf([&] { H264::setConstraintSet1AndFullRange(full, true); }),
              "a parameter set exceeds 65535 bytes");
}
