#pragma once

#include <cstdint>

/// Every conversion of a floating-point number to an integer goes through these. They truncate
/// toward zero; NaN and numbers out of range, for which the language defines nothing, give what
/// the usual hardware gives: the bits of -2^31 or -2^63.
namespace WEKU {

constexpr std::int32_t truncateToInt32(double value) {
    return value > -2147483649.0 && value < 2147483648.0 ? static_cast<std::int32_t>(value)
                                                         : INT32_MIN;
}

constexpr std::int64_t truncateToInt64(double value) {
    return value >= -9223372036854775808.0 && value < 9223372036854775808.0
               ? static_cast<std::int64_t>(value)
               : INT64_MIN;
}

/// The low 16 bits of the 32-bit truncation.
constexpr std::int16_t truncateToInt16(double value) {
    return static_cast<std::int16_t>(truncateToInt32(value));
}

/// Negative numbers above -2^63 give the bits of their signed truncation.
constexpr std::uint64_t truncateToUint64(double value) {
    return value >= 9223372036854775808.0 && value < 18446744073709551616.0
               ? static_cast<std::uint64_t>(value)
               : static_cast<std::uint64_t>(truncateToInt64(value));
}

/// For counts that are only shown: 0 for a number that is not finite or is negative, the largest
/// count for one above it.
constexpr std::uint32_t truncateToCount(double value) {
    if (!(value >= 0) || value > 1.7976931348623157e308) return 0;
    return value < 4294967296.0 ? static_cast<std::uint32_t>(value) : UINT32_MAX;
}

}  // namespace WEKU
