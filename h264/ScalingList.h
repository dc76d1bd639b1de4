#pragma once

#include <array>

#include "h264/SignedElement.h"

namespace H264 {

/// scaling_list() (ISO/IEC 14496-10, 7.3.2.1.1.1): the deltas as they are coded, for a list of 16
/// or 64 scales. Those behind the end of the list, or behind a delta that ends it early, are 0.
struct ScalingList {
    std::array<SignedElement, 64> delta_scale{};

    bool operator==(const ScalingList&) const = default;
};

}  // namespace H264
