#pragma once

#include "h264/AvcRecord.h"
#include "h264/SequenceParameterSet.h"
#include "tests/kit/Hex.h"

namespace h264test {

using kit::fromHex;

/// A sequence parameter set and what it is known to state.
struct Sample {
    const char* name;
    const char* hex;
    bool (*states)(const H264::SequenceParameterSet&);
};

using Sps = H264::SequenceParameterSet;

/// From an encoder at many settings, and by hand where no encoder goes; the values are those that
/// another reader of parameter sets shows.
// clang-format off
const Sample kSamples[] = {
    {"baseline, full range", "6742c00dd90141fb016c80000003008000001e078a1524",
     [](const Sps& s) { return s.vui.video_full_range_flag && s.vui.video_format == 5; }},
    {"baseline, order type 1", "6742000dd08522000088b88000000300fffffffe40a0fc80",
     [](const Sps& s) { return s.offset_for_top_to_bottom_field.value() == -2 && s.offset_for_ref_frame[2].value() == 2147483647; }},
    {"main, both rate models",
     "674d000dda0507ba642d334000000300400000c01800000300000ffffffffef7be2c000003020000030000030003ffffffff80000003007fffffff8000445c77bdf16d040204c0",
     [](const Sps& s) { return s.vui.nal_hrd.cpb[0].bit_rate_value_minus1 == 4294967294 && s.vui.vcl_hrd.cpb[2].cbr_flag && s.vui.max_num_reorder_frames == 3; }},
    {"high 10 intra, lists",
     "676e1028a6d42032330c7118886210191986388c44302102564e6f37cdf9bf816bf37cde6e6cd33c05a0227e5c3840000003004000000ca1",
     [](const Sps& s) { return s.constraint_set3_flag && s.seq_scaling_list_present_flag[6]; }},
    {"high 4:2:2, interlaced", "677a0015b6cd941510f111180880000003008000001e0f8a14cb",
     [](const Sps& s) { return s.chroma_format_idc == 2 && s.frame_crop_right_offset == 7; }},
    {"twelve lists", "6764000d9276c23a74e9d3a70440646438afffffffffffffffb40a0fc8",
     [](const Sps& s) { return s.scaling_list[7].delta_scale[1].value() == -12 && s.scaling_list[11].delta_scale[3].value() == 5; }},
    {"surplus behind the end", "6742000dda0507e40000030000030000", [](const Sps& s) { return s.surplus.length() == 8; }},
};
// clang-format on

/// A baseline record with these sets.
template <class... Units>
ByteArray recordOf(const Units&... sets) {
    H264::AvcRecord record;
    record.profileIndication = 66;
    record.levelIndication = 13;
    record.sequenceParameterSets = {sets...};
    record.pictureParameterSets = {fromHex("68cb83cb20")};
    return record.write();
}

}  // namespace h264test
