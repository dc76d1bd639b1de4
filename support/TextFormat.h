#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace WEKU {

/// A value for a printf conversion. It knows its own type, so that a conversion which does not fit
/// prints the value and never what lies behind it, and length modifiers (l, z, …) play no part.
class FormatValue {
  public:
    FormatValue(std::integral auto number)
        : kind(Kind::number), integer(static_cast<std::uint64_t>(number)), bits(sizeof number * 8) {
        // As a variable argument: what is narrower than an int becomes one.
        if (bits < 32) bits = 32;
    }
    FormatValue(std::floating_point auto number)
        : kind(Kind::floating), floating(static_cast<double>(number)) {}
    FormatValue(const char* text) : kind(Kind::bytes), bytes(text) {}
    FormatValue(const wchar_t* text) : kind(Kind::wide), wide(text) {}
    FormatValue(const void* address) : kind(Kind::address), pointer(address) {}

  private:
    friend class TextFormat;
    enum class Kind { number, floating, bytes, wide, address };

    Kind kind;
    union {
        std::uint64_t integer;  ///< extended by its sign
        double floating;
        const char* bytes;
        const wchar_t* wide;
        const void* pointer;
    };
    unsigned bits = 64;
};

std::string fillFormat(std::string_view format, std::initializer_list<FormatValue> values);
std::string fillFormat(std::wstring_view format, std::initializer_list<FormatValue> values);

/// Fills in a printf format as the C locale does, whatever locale the process is in. Narrow text
/// passes byte for byte and wide text leaves as UTF-8 (see wchar::narrow), whichever of the two
/// the format is. Conversions: d i u x X o c s p f F e E g G %, with flags, width and precision.
template <class C, class... Values>
std::string formatText(const C* format, const Values&... values) {
    return fillFormat(format, {values...});
}

/// The same as it comes out of a buffer of `capacity` bytes: cut to one byte less.
template <class... Values>
std::string formatCut(std::size_t capacity, const char* format, const Values&... values) {
    std::string text = formatText(format, values...);
    if (text.size() >= capacity) text.resize(capacity - 1);
    return text;
}

}  // namespace WEKU
