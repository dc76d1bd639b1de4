#include "support/WideText.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace WEKU::wchar {
namespace {

constexpr std::uint32_t escapeBase = 0xDC00;

struct Decoded {
    std::uint32_t character;
    std::size_t length;
};

/// The length of the sequence that `lead` opens, and the smallest character it may encode.
struct Lead {
    std::size_t length;
    std::uint32_t bits;
    std::uint32_t smallest;
};

std::optional<Lead> leadOf(unsigned char lead) {
    if (lead >= 0xC2 && lead <= 0xDF) return Lead{2, lead & 0x1FU, 0x80};
    if (lead >= 0xE0 && lead <= 0xEF) return Lead{3, lead & 0x0FU, 0x800};
    if (lead >= 0xF0 && lead <= 0xF4) return Lead{4, lead & 0x07U, 0x10000};
    return std::nullopt;
}

/// Decodes the sequence at the front of `bytes`, which is not empty; an undecodable byte stands
/// alone under its escape.
Decoded decode(std::string_view bytes) {
    const auto first = static_cast<unsigned char>(bytes[0]);
    if (first < 0x80) return {first, 1};
    const Decoded escaped{escapeBase + first, 1};
    const auto lead = leadOf(first);
    if (!lead || bytes.size() < lead->length) return escaped;
    std::uint32_t character = lead->bits;
    for (std::size_t i = 1; i < lead->length; ++i) {
        const auto next = static_cast<unsigned char>(bytes[i]);
        if ((next & 0xC0) != 0x80) return escaped;
        character = character << 6 | (next & 0x3FU);
    }
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    if (character < lead->smallest || surrogate || character > 0x10FFFF) return escaped;
    return {character, lead->length};
}

/// The control characters and the two separators that count as line ends.
bool endsOrSteers(std::uint32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x2028 ||
           character == 0x2029;
}

/// Writes the bytes of one character to `out` (4 bytes) and returns their number.
std::size_t encode(std::uint32_t character, char* out) {
    if (character >= escapeBase + 0x80 && character <= escapeBase + 0xFF) {
        out[0] = static_cast<char>(character - escapeBase);
        return 1;
    }
    if (character < 0x80) {
        out[0] = static_cast<char>(character);
        return 1;
    }
    const auto tail = [character](unsigned shift) {
        return static_cast<char>(0x80U | (character >> shift & 0x3FU));
    };
    if (character < 0x800) {
        out[0] = static_cast<char>(0xC0U | character >> 6);
        out[1] = tail(0);
        return 2;
    }
    if (character >= 0xD800 && character <= 0xDFFF) {
        out[0] = '?';
        return 1;
    }
    if (character < 0x10000) {
        out[0] = static_cast<char>(0xE0U | character >> 12);
        out[1] = tail(6);
        out[2] = tail(0);
        return 3;
    }
    if (character > 0x10FFFF) {
        out[0] = '?';
        return 1;
    }
    out[0] = static_cast<char>(0xF0U | character >> 18);
    out[1] = tail(12);
    out[2] = tail(6);
    out[3] = tail(0);
    return 4;
}

std::string encodeUpTo(std::wstring_view text, std::size_t limit) {
    std::string bytes;
    bytes.reserve(std::min(text.size(), limit));
    for (const wchar_t character : text) {
        const auto code = static_cast<std::uint32_t>(character);
        if (code < 0x80) {
            if (bytes.size() == limit) break;
            bytes.push_back(static_cast<char>(code));
            continue;
        }
        char buffer[4];
        const std::size_t n = encode(code, buffer);
        if (n > limit - bytes.size()) break;
        bytes.append(buffer, n);
    }
    return bytes;
}

}  // namespace

std::wstring mbs2wcs(std::string_view bytes) {
    bytes = bytes.substr(0, bytes.find('\0'));
    return widenFront(bytes, maxWide);
}

std::string wcs2mbs(std::wstring_view text) {
    const std::size_t length = std::min(6 * text.size(), maxNarrow);
    std::string bytes = encodeUpTo(text.substr(0, text.find(L'\0')), length);
    bytes.resize(length, '\0');
    return bytes;
}

std::wstring widen(std::string_view bytes) {
    return widenFront(bytes, bytes.size());
}

std::string narrow(std::wstring_view text) {
    return encodeUpTo(text, std::string::npos);
}

std::wstring widenFront(std::string_view& bytes, std::size_t most) {
    std::wstring text;
    text.reserve(std::min(bytes.size(), most));
    while (!bytes.empty() && text.size() < most) {
        const Decoded next = decode(bytes);
        text.push_back(static_cast<wchar_t>(next.character));
        bytes.remove_prefix(next.length);
    }
    return text;
}

std::string oneLine(std::string_view bytes) {
    bytes = bytes.substr(0, bytes.find('\0'));
    std::string line;
    line.reserve(bytes.size());
    while (!bytes.empty()) {
        const Decoded next = decode(bytes);
        if (endsOrSteers(next.character)) {
            line += ' ';
        } else {
            line.append(bytes.substr(0, next.length));
        }
        bytes.remove_prefix(next.length);
    }
    return line;
}

std::size_t openEnd(std::string_view bytes) {
    for (std::size_t n = 1; n <= std::min<std::size_t>(3, bytes.size()); ++n) {
        const auto byte = static_cast<unsigned char>(bytes[bytes.size() - n]);
        if (const auto lead = leadOf(byte)) return lead->length > n ? n : 0;
        if ((byte & 0xC0) != 0x80) break;
    }
    return 0;
}

}  // namespace WEKU::wchar
