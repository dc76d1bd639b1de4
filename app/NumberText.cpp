#include "app/NumberText.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>

#include "support/Portability.h"

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

}  // namespace

void appendNumber(std::string& text, double value) {
    char digits[32];
    char* end = writePlain(digits, value);
    if (end == nullptr) {
        end = WEKU::writeGeneral(digits, digits + sizeof digits, value);
    }
    text.append(digits, end);
}
