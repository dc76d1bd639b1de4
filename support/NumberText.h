#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

/// Numbers as text, written and read as the C locale does whatever locale the process is in. What
/// the standard library lacks of this on a platform is to be made up for here.
namespace WEKU {

/// What printf makes of a number with "%.<precision>f", or with e, E, F, g or G for the f.
std::string numberText(double value, char conversion, int precision);

/// Reads the number at the front of a text, behind white space, as strtod, strtof, strtol and
/// strtoull do: decimal, and for floating values also hexadecimal, infinite and NaN; what is out
/// of range comes as the limit, or 0. Returns how many characters were taken, 0 when there is no
/// number; the value is then 0.
std::size_t readNumber(std::string_view text, double& value);
std::size_t readNumber(std::string_view text, float& value);
std::size_t readNumber(std::string_view text, std::int64_t& value);
std::size_t readNumber(std::string_view text, std::uint64_t& value);

/// Appends a number as a stream of default format prints it, with six significant digits ("%.6g":
/// 0.5, 1e-07, -0). Deliberate: a number that is not finite is "nan" or "inf".
void appendNumber(std::string& text, double value);

/// Appends a number with as few digits as read back to it.
void appendShortest(std::string& text, float value);

/// Appends an integer in decimal.
void appendNumber(std::string& text, std::integral auto value) {
    char digits[24];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

}  // namespace WEKU
