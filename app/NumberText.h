#pragma once

#include <charconv>
#include <concepts>
#include <string>

/// Appends a number as a stream of default format prints it, with six significant digits ("%.6g":
/// 0.5, 1e-07, -0, nan, inf). No locale is consulted.
void appendNumber(std::string& text, double value);

/// Appends an integer in decimal.
void appendNumber(std::string& text, std::integral auto value) {
    char digits[24];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}
