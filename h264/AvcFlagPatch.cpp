#include "h264/AvcFlagPatch.h"

#include "h264/SequenceParameterSet.h"
#include "support/Failure.h"

namespace H264 {

namespace {

constexpr std::uint8_t kBaseline = 66;
constexpr std::uint8_t kConstraintSet1 = 0x40;  ///< In the byte behind the profile.

/// Looks at the byte alone: a set of another profile need not be one that can be parsed.
bool isBaseline(const ByteArray& nalUnit) {
    return nalUnit.length() > 1 && nalUnit.data()[1] == kBaseline;
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
        throw WEKU::Failure("the record holds no sequence parameter set");
    }
    SequenceParameterSet sps;
    sps.parse(record.sequenceParameterSets.front());
    return {sps.profile_idc, sps.constraint_set1_flag, sps.vui.video_full_range_flag};
}

ByteArray setConstraintSet1AndFullRange(const ByteArray& payload, bool fullRange) {
    AvcRecord record;
    record.parse(payload);
    if (record.profileIndication != kBaseline) return payload;
    record.profileCompatibility |= kConstraintSet1;
    for (ByteArray& nalUnit : record.sequenceParameterSets) {
        if (isBaseline(nalUnit)) patch(nalUnit, fullRange);
    }
    return record.write();
}

}  // namespace H264
