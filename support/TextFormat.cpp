#include "support/TextFormat.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "support/NumberText.h"
#include "support/WideText.h"

namespace WEKU {

/// One pass over a format, whose values are taken in turn.
class TextFormat {
  public:
    TextFormat(std::string_view format, std::initializer_list<FormatValue> values)
        : format(format), next(values.begin()), end(values.end()) {}

    std::string filled() {
        while (!format.empty()) {
            const std::size_t literal = std::min(format.find('%'), format.size());
            text.append(format.substr(0, literal));
            format.remove_prefix(literal);
            if (!format.empty()) convert();
        }
        return std::move(text);
    }

  private:
    struct Spec {
        bool left = false, plus = false, blank = false, alternative = false, zeros = false;
        std::size_t width = 0;
        std::size_t precision = none;
    };
    static constexpr std::size_t none = std::string::npos;
    /// No field of a line is wider; a format that asks for more is a mistake.
    static constexpr std::size_t widest = 4096;

    bool take(char c) {
        if (!format.starts_with(c)) return false;
        format.remove_prefix(1);
        return true;
    }

    std::size_t takeNumber() {
        std::size_t number = 0;
        for (; !format.empty() && format[0] >= '0' && format[0] <= '9'; format.remove_prefix(1))
            number = std::min(number * 10 + static_cast<std::size_t>(format[0] - '0'), widest);
        return number;
    }

    Spec takeSpec() {
        Spec spec;
        for (;;) {
            if (take('-')) {
                spec.left = true;
            } else if (take('+')) {
                spec.plus = true;
            } else if (take(' ')) {
                spec.blank = true;
            } else if (take('#')) {
                spec.alternative = true;
            } else if (take('0')) {
                spec.zeros = true;
            } else {
                break;
            }
        }
        spec.width = takeNumber();
        if (take('.')) spec.precision = takeNumber();
        format.remove_prefix(std::min(format.find_first_not_of("hlqjztL"), format.size()));
        return spec;
    }

    /// The sequence from "%" on; what is none, or has no value, stands as it was written.
    void convert() {
        const std::string_view whole = format;
        format.remove_prefix(1);
        const Spec spec = takeSpec();
        const char conversion = format.empty() ? '\0' : format[0];
        if (!format.empty()) format.remove_prefix(1);
        if (conversion == '%') {
            text += '%';
        } else if (next == end || std::string_view("diuxXocspfFeEgG").find(conversion) == none) {
            text.append(whole.substr(0, whole.size() - format.size()));
        } else {
            append(spec, conversion, *next++);
        }
    }

    void append(const Spec& spec, char conversion, const FormatValue& value) {
        switch (value.kind) {
            case FormatValue::Kind::number:
                if (conversion == 'c') {
                    const auto character = static_cast<wchar_t>(value.integer);
                    pad(spec, "", wchar::narrow({&character, 1}), false);
                } else {
                    appendInteger(spec, conversion, value);
                }
                break;
            case FormatValue::Kind::floating:
                appendFloating(spec, conversion, value);
                break;
            case FormatValue::Kind::address:
                appendInteger({.left = spec.left, .alternative = true, .width = spec.width}, 'x',
                              reinterpret_cast<std::uintptr_t>(value.pointer));
                break;
            case FormatValue::Kind::bytes:
                pad(spec, "", cut<char>(spec, value.bytes == nullptr ? "(null)" : value.bytes),
                    false);
                break;
            case FormatValue::Kind::wide:
                pad(spec, "",
                    wchar::narrow(
                        cut<wchar_t>(spec, value.wide == nullptr ? L"(null)" : value.wide)),
                    false);
                break;
        }
    }

    template <class C>
    static std::basic_string_view<C> cut(const Spec& spec, std::basic_string_view<C> content) {
        return content.substr(0, spec.precision);
    }

    void appendInteger(const Spec& spec, char conversion, const FormatValue& value) {
        const std::uint64_t mask = ~std::uint64_t{0} >> (64 - value.bits);
        std::uint64_t magnitude = value.integer & mask;
        const bool isSigned = conversion == 'd' || conversion == 'i';
        const bool negative = isSigned && (magnitude >> (value.bits - 1)) != 0;
        if (negative) magnitude = (~magnitude + 1) & mask;
        const bool hex = conversion == 'x' || conversion == 'X';
        char digits[24];
        char* const last = std::to_chars(digits, digits + sizeof digits, magnitude,
                                         hex                 ? 16
                                         : conversion == 'o' ? 8
                                                             : 10)
                               .ptr;
        if (conversion == 'X') {
            std::transform(digits, last, digits,
                           [](char c) { return c >= 'a' ? static_cast<char>(c - 32) : c; });
        }
        std::string content(digits, magnitude == 0 && spec.precision == 0 ? digits : last);
        if (spec.precision != none && content.size() < spec.precision)
            content.insert(0, spec.precision - content.size(), '0');
        std::string_view sign;
        if (isSigned) {
            sign = signOf(spec, negative);
        } else if (hex && spec.alternative && magnitude != 0) {
            sign = conversion == 'x' ? "0x" : "0X";
        }
        pad(spec, sign, content, spec.zeros && spec.precision == none);
    }

    void appendFloating(const Spec& spec, char conversion, const FormatValue& value) {
        const std::size_t precision = spec.precision == none ? 6 : spec.precision;
        std::string content = numberText(value.floating, conversion, static_cast<int>(precision));
        const bool negative = content.starts_with('-');
        if (negative) content.erase(0, 1);
        const bool finite = content[0] >= '0' && content[0] <= '9';
        pad(spec, signOf(spec, negative), content, spec.zeros && finite);
    }

    static std::string_view signOf(const Spec& spec, bool negative) {
        if (negative) return "-";
        if (spec.plus) return "+";
        return spec.blank ? " " : "";
    }

    void pad(const Spec& spec, std::string_view sign, std::string_view content, bool zeros) {
        const std::size_t length = sign.size() + content.size();
        const std::size_t missing = spec.width > length ? spec.width - length : 0;
        if (!spec.left && !zeros) text.append(missing, ' ');
        text.append(sign);
        if (!spec.left && zeros) text.append(missing, '0');
        text.append(content);
        if (spec.left) text.append(missing, ' ');
    }

    std::string_view format;
    const FormatValue* next;
    const FormatValue* end;
    std::string text;
};

std::string fillFormat(std::string_view format, std::initializer_list<FormatValue> values) {
    return TextFormat(format, values).filled();
}

std::string fillFormat(std::wstring_view format, std::initializer_list<FormatValue> values) {
    return fillFormat(wchar::narrow(format), values);
}

}  // namespace WEKU
