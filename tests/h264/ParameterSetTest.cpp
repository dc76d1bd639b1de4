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
        {"6742000d0000000080", "an Exp-Golomb code is longer than 63 bits"},
        {"6742000dd3008080", "num_ref_frames_in_pic_order_cnt_cycle exceeds 255"},
        {"6764000d94", "chroma_format_idc exceeds 3"},
        {"6764000dade00810", "delta_scale is out of range"},
        {"6742000dda0507e82084", "cpb_cnt_minus1 exceeds 31"},
    };
    // The ends of what the standard allows.
    for (const std::uint32_t code : {258U, 256U, 253U, 255U}) {  // -129, -128, 127, 128
        auto set = parsed<SequenceParameterSet>(fromHex(kSamples[5].hex));
        set.scaling_list[0].delta_scale[0].codeNumber = code;
        const std::string failure = failureOf([&] { parsed<SequenceParameterSet>(set.write()); });
        EXPECT_EQ(failure.empty(), code == 256 || code == 253) << code << failure;
    }
    for (const auto& [hex, text] : sets)
        EXPECT_EQ(failureOf([h = hex] { parsed<SequenceParameterSet>(fromHex(h)); }), text) << hex;
}

TEST(ParameterSet, ReadsWhatIsUntidyAndWritesItNot) {
    // A missing stop bit, a one behind it, an emulation byte ahead of a byte that needs none.
    for (const char* hex : {"6742000dda0507e0", "6742000dda0507e6", "6742000003da0507e4"}) {
        const auto set = parsed<SequenceParameterSet>(fromHex(hex));
        EXPECT_EQ(set.profile_idc, 66) << hex;
        EXPECT_EQ(set.pic_width_in_mbs_minus1, 19) << hex;
        EXPECT_NE(failureOf([&] { set.write(); }).find("not the standard's"), std::string::npos);
    }
}

TEST(AvcRecord, RoundTripsAndSaysWhatIsMissing) {
    // Reserved bits that are zeros; an extension of a high profile, and what follows any record.
    const char* records[] = {
        "0142000d030100026742010002688b", "0158000dffe100026742010002688b09f8f800",
        "0164000dffe100026764010002688bfdf8f80077", "0164000dffe100026764010002688b77"};
    const bool extended[] = {false, false, true, false};
    for (std::size_t i = 0; i < std::size(records); ++i) {
        const std::string hex = records[i];
        const auto record = parsed<AvcRecord>(fromHex(hex));
        EXPECT_EQ(toHex(record.write()), hex);
        EXPECT_EQ(record.extension.has_value(), extended[i]) << hex;
        EXPECT_EQ(record.surplus.length(), i == 0 ? 0U : i == 1 ? 4U : 1U);
    }
    const std::pair<const char*, const char*> cut[] = {
        {"0142000dff", "the record is too short"},
        {"0242000dffe1", "the record is of an unknown version"},
        {"0142000dffe0", "the record holds no sequence parameter set"},
        {"0142000dffe1", "the record ends inside its parameter sets"}};
    for (const auto& [hex, text] : cut)
        EXPECT_EQ(failureOf([h = hex] { parsed<AvcRecord>(fromHex(h)); }), text) << hex;
    AvcRecord many;
    many.sequenceParameterSets.resize(32);
    EXPECT_EQ(failureOf([&] { many.write(); }), "too many parameter sets for one record");
}

TEST(AvcFlagPatch, AddsTheStandardsBitsAndLeavesOtherProfilesAlone) {
    // One VUI flag, and the VUI: 001, format 101, full range, 0 to the end.
    const ByteArray patched =
        H264::setConstraintSet1AndFullRange(recordOf(fromHex("6742000dda0507e4")), true);
    const auto record = parsed<AvcRecord>(patched);
    EXPECT_EQ(toHex(record.sequenceParameterSets[0]), "6742400dda0507e9b010");
    EXPECT_EQ(record.profileCompatibility, 0x40);

    // A set decides by itself, whatever the record names; the record claims what all sets do.
    auto mixed = record;
    mixed.profileIndication = 88;
    mixed.profileCompatibility = 0;
    mixed.sequenceParameterSets = {fromHex("6742000dda0507e4"), fromHex("674d000dda0507e4")};
    for (const int compatibility : {0, 0x40}) {
        const auto set =
            parsed<AvcRecord>(H264::setConstraintSet1AndFullRange(mixed.write(), true));
        EXPECT_EQ(toHex(set.sequenceParameterSets[0]), "6742400dda0507e9b010");
        EXPECT_EQ(set.profileCompatibility, compatibility);
        mixed.sequenceParameterSets.pop_back();
    }

    const ByteArray main = fromHex("0142000dffe10002674d010002688b");
    EXPECT_EQ(H264::setConstraintSet1AndFullRange(main, true), main);

    auto large = parsed<SequenceParameterSet>(fromHex("6742000dda0507e4"));
    large.surplus.setLength(65535 - large.write().length());
    const ByteArray full = recordOf(large.write());
    EXPECT_EQ(failureOf([&] { H264::setConstraintSet1AndFullRange(full, true); }),
              "a parameter set exceeds 65535 bytes");
}
