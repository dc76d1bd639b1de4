#pragma once

#include <cstdint>

#include "h264/AvcRecord.h"

namespace H264 {

/// What decides about hardware decoding, as a sequence parameter set states it.
struct AvcFlags {
    std::uint8_t profile_idc = 0;
    bool constraint_set1_flag = false;
    bool video_full_range_flag = false;  ///< false where the set carries no video signal type.
};

/// The flags of the record's first sequence parameter set. Throws a WEKU::Failure where the set
/// cannot be parsed.
AvcFlags flagsOfFirstSet(const AvcRecord& record);

/// The avcC payload with constraint_set1_flag set in its sequence parameter sets of the baseline
/// profile (66), whatever profile the record itself names, and with `fullRange` stated in their
/// VUI; the record states the flag too once all of its sets do. A set without a video signal type
/// gets one of unspecified format without colour description; one without VUI gets one that holds
/// nothing else. A record without a baseline set comes back as it is. Doing it twice changes
/// nothing more. Throws a WEKU::Failure where the record or such a set cannot be parsed or is
/// untidy, or where a set would exceed 65535 bytes.
ByteArray setConstraintSet1AndFullRange(const ByteArray& payload, bool fullRange);

}  // namespace H264
