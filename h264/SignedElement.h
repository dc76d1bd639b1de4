#pragma once

#include <cstdint>

namespace H264 {

/// A signed syntax element, se(v). It keeps its code number, so that nothing changes by passing
/// through.
struct SignedElement {
    std::uint32_t codeNumber = 0;

    /// The standard's value (ISO/IEC 14496-10, 9.1.1): code numbers 0, 1, 2, 3, 4 stand for
    /// 0, 1, -1, 2, -2.
    constexpr std::int64_t value() const {
        const std::int64_t number = codeNumber;
        return number % 2 != 0 ? (number + 1) / 2 : -(number / 2);
    }

    bool operator==(const SignedElement&) const = default;
};

}  // namespace H264
