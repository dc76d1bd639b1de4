#include "h264/AvcFlagPatch.h"

#include <algorithm>

#include "h264/SequenceParameterSet.h"
#include "support/Failure.h"

namespace H264 {

namespace {

constexpr std::uint8_t baseline = 66;
constexpr std::uint8_t kConstraintSet1 = 0x40;  ///< In the byte behind the profile.

// Both look at the bytes alone: a set of another profile need not be one that can be parsed.

bool isBaseline(const ByteArray& nalUnit) {
    return nalUnit.length() > 1 && nalUnit.data()[1] == baseline;
}

bool statesConstraintSet1(const ByteArray& nalUnit) {
    return nalUnit.length() > 2 && (nalUnit.data()[2] & kConstraintSet1) != 0;
}

void patch(ByteArray& nalUnit, bool fullRange) {
    SequenceParameterSet sps;
    sps.parse(nalUnit);
    sps.constraint_set1_flag = true;
    // What is absent stands at its defaults: no VUI element, and an unspecified video format.
    sps.vui_parameters_present_flag = true;
    sps.vui.video_signal_type_present_flag = true;
    sps.vui.video_full_range_flag = fullRange;
    nalUnit = sps.write();
}

}  // namespace

AvcFlags flagsOfFirstSet(const AvcRecord& record) {
    if (record.sequenceParameterSets.empty()) {
        throw WEKU::Failure{"the record holds no sequence parameter set"};
    }
    SequenceParameterSet sps;
    sps.parse(record.sequenceParameterSets.front());
    return {sps.profile_idc, sps.constraint_set1_flag, sps.vui.video_full_range_flag};
}

ByteArray setConstraintSet1AndFullRange(const ByteArray& payload, bool fullRange) {
    AvcRecord record;
    record.parse(payload);
    auto& sets = record.sequenceParameterSets;
    // What decides are the sets: a record may name another profile that its sets conform to.
    if (std::none_of(sets.begin(), sets.end(), isBaseline)) return payload;
    for (ByteArray& nalUnit : sets) {
        if (isBaseline(nalUnit)) patch(nalUnit, fullRange);
    }
    // A record may claim no more than all of its sets do.
    if (std::all_of(sets.begin(), sets.end(), statesConstraintSet1)) {
        record.profileCompatibility |= kConstraintSet1;
    }
    return record.write();
}

}  // namespace H264
