#include "support/NumberText.h"

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <system_error>
#include <type_traits>

namespace {

/// Writes the common numbers, those that need no exponent and whose sixth digit is not close to a
/// rounding boundary; several times faster than the general conversion, which takes what this
/// leaves. Returns the end, or null.
char* writePlain(char* out, double value) {
    static constexpr double powers[] = {1e-4, 1e-3, 1e-2, 1e-1, 1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6};
    static constexpr double scales[] = {1e9, 1e8, 1e7, 1e6, 1e5, 1e4, 1e3, 1e2, 1e1, 1e0};
    const double magnitude = std::fabs(value);
    if (!(magnitude >= powers[0] && magnitude < powers[10])) return nullptr;
    const auto above = std::upper_bound(std::begin(powers), std::end(powers), magnitude);
    const int place = static_cast<int>(above - powers) - 1;

    // The product is rounded once; that can only matter next to a half.
    const double scaled = magnitude * scales[place];
    auto six = static_cast<std::uint32_t>(scaled);
    const double rest = scaled - six;
    if (std::fabs(rest - 0.5) < 1e-6) return nullptr;
    six += rest > 0.5;
    if (six < 100000 || six > 999999) return nullptr;

    char digits[6];
    for (int i = 5; i >= 0; --i, six /= 10)
        digits[i] = static_cast<char>('0' + six % 10);
    int kept = 6;
    while (kept > 1 && digits[kept - 1] == '0')
        --kept;

    if (std::signbit(value)) *out++ = '-';
    const int whole = place - 3;  // digits ahead of the point
    if (whole > 0) {
        out = std::copy_n(digits, whole, out);
        if (kept <= whole) return out;
        *out++ = '.';
        return std::copy(digits + whole, digits + kept, out);
    }
    *out++ = '0';
    *out++ = '.';
    out = std::fill_n(out, -whole, '0');
    return std::copy_n(digits, kept, out);
}

/// The length of the white space and the sign ahead of a number.
std::size_t takeSign(std::string_view text, bool& negative) {
    const std::size_t at = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    negative = text.substr(at).starts_with('-');
    return at + (negative || text.substr(at).starts_with('+') ? 1 : 0);
}

#ifdef __cpp_lib_to_chars

/// As printf with the conversion f, e or g writes it; returns the end.
char* write(char* first, char* last, double value, char conversion, int precision) {
    const auto format = conversion == 'f'   ? std::chars_format::fixed
                        : conversion == 'e' ? std::chars_format::scientific
                                            : std::chars_format::general;
    return std::to_chars(first, last, value, format, precision).ptr;
}

char* writeShortest(char* first, char* last, float value) {
    return std::to_chars(first, last, value).ptr;
}

bool isHexDigit(std::string_view text) {
    return text.find_first_of("0123456789abcdefABCDEF") == 0;
}

/// Whether a number that is out of range is too large and not too small: by the place of its first
/// digit that is no 0 and its exponent, which counts digits or, in hexadecimal, bits.
bool isHuge(std::string_view number, bool hex) {
    const std::size_t mark = std::min(number.find_first_of(hex ? "pP" : "eE"), number.size());
    const std::string_view digits = number.substr(0, mark);
    std::int64_t exponent = 0;
    if (mark < number.size()) WEKU::readNumber(number.substr(mark + 1), exponent);
    const auto point = static_cast<std::int64_t>(std::min(digits.find('.'), digits.size()));
    const auto first = static_cast<std::int64_t>(digits.find_first_not_of("0."));
    constexpr std::int64_t far = std::int64_t{1} << 60;
    return (point - first) * (hex ? 4 : 1) + std::clamp(exponent, -far, far) > 0;
}

template <class T>
std::size_t readFloating(std::string_view text, T& value) {
    value = 0;
    bool negative = false;
    std::size_t taken = takeSign(text, negative);
    std::string_view number = text.substr(taken);
    // The conversion below knows no prefix and takes a sign, which here would be the second.
    const bool hex = (number.starts_with("0x") || number.starts_with("0X")) &&
                     isHexDigit(number.substr(number.substr(2).starts_with('.') ? 3 : 2));
    if (hex) taken += 2, number.remove_prefix(2);
    if (number.starts_with('-')) return 0;
    const auto [end, error] =
        std::from_chars(number.data(), number.data() + number.size(), value,
                        hex ? std::chars_format::hex : std::chars_format::general);
    if (error == std::errc::invalid_argument) return 0;
    const auto length = static_cast<std::size_t>(end - number.data());
    if (error == std::errc::result_out_of_range) {
        value = isHuge(number.substr(0, length), hex) ? std::numeric_limits<T>::infinity() : T{0};
    }
    if (negative) value = -value;
    return taken + length;
}

#else

/// The plain way of older libraries, whose C functions know a locale's decimal point and no other
/// mark in a number.
char* write(char* first, char* last, double value, char conversion, int precision) {
    const char format[] = {'%', '.', '*', conversion, '\0'};
    const int length =
        std::snprintf(first, static_cast<std::size_t>(last - first), format, precision, value);
    std::replace(first, first + length, *std::localeconv()->decimal_point, '.');
    return first + length;
}

char* writeShortest(char* first, char* last, float value) {
    for (int precision = 1;; ++precision) {
        char* end = write(first, last, double{value}, 'g', precision);
        float read = 0;
        WEKU::readNumber({first, static_cast<std::size_t>(end - first)}, read);
        if (read == value || precision == std::numeric_limits<float>::max_digits10) return end;
    }
}

template <class T>
std::size_t readFloating(std::string_view text, T& value) {
    const std::size_t start = text.find_first_not_of(" \t\n\v\f\r+-");
    std::string number(
        text.substr(0, text.find_first_not_of("0123456789abcdefABCDEFpPxX+-.nNiItTyY()",
                                              std::min(start, text.size()))));
    std::replace(number.begin(), number.end(), '.', *std::localeconv()->decimal_point);
    char* end = nullptr;
    if constexpr (std::is_same_v<T, float>) {
        value = std::strtof(number.c_str(), &end);
    } else {
        value = std::strtod(number.c_str(), &end);
    }
    return static_cast<std::size_t>(end - number.c_str());
}

#endif

/// Reads digits behind white space and a sign; what exceeds 64 bits comes as the largest number.
std::size_t readMagnitude(std::string_view text, bool& negative, std::uint64_t& magnitude,
                          bool& huge) {
    magnitude = 0;
    const std::size_t sign = takeSign(text, negative);
    const char* const digits = text.data() + sign;
    const auto [end, error] = std::from_chars(digits, text.data() + text.size(), magnitude);
    huge = error == std::errc::result_out_of_range;
    return error == std::errc::invalid_argument ? 0 : static_cast<std::size_t>(end - text.data());
}

}  // namespace

namespace WEKU {

void appendNumber(std::string& text, double value) {
    char digits[32];
    char* end = writePlain(digits, value);
    if (end == nullptr) {
        end = write(digits, digits + sizeof digits, value, 'g', 6);
    }
    text.append(digits, end);
}

std::string numberText(double value, char conversion, int precision) {
    const auto lower = static_cast<char>(conversion | 0x20);
    // The longest number has 309 digits ahead of its point.
    std::string text(static_cast<std::size_t>(precision) + 320, '\0');
    char* const end = write(text.data(), text.data() + text.size(), value, lower, precision);
    text.resize(static_cast<std::size_t>(end - text.data()));
    if (conversion != lower) {
        std::transform(text.begin(), text.end(), text.begin(),
                       [](char c) { return c >= 'a' ? static_cast<char>(c - 32) : c; });
    }
    return text;
}

void appendShortest(std::string& text, float value) {
    char digits[64];
    text.append(digits, writeShortest(digits, digits + sizeof digits, value));
}

std::size_t readNumber(std::string_view text, double& value) {
    return readFloating(text, value);
}

std::size_t readNumber(std::string_view text, float& value) {
    return readFloating(text, value);
}

std::size_t readNumber(std::string_view text, std::uint64_t& value) {
    bool negative = false, huge = false;
    const std::size_t taken = readMagnitude(text, negative, value, huge);
    if (huge) {
        value = UINT64_MAX;
    } else if (negative) {
        value = 0 - value;
    }
    return taken;
}

std::size_t readNumber(std::string_view text, std::int64_t& value) {
    bool negative = false, huge = false;
    std::uint64_t magnitude = 0;
    const std::size_t taken = readMagnitude(text, negative, magnitude, huge);
    const std::uint64_t most = std::uint64_t{INT64_MAX} + (negative ? 1 : 0);
    if (huge || magnitude > most) magnitude = most;
    value = static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
    return taken;
}

}  // namespace WEKU
