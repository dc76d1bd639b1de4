#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// An IFD in the making (TIFF 6.0), big-endian. Tags are to be added in ascending order.
class TiffWriter {
  public:
    struct Rational {
        std::uint32_t numerator;
        std::uint32_t denominator;
    };

    /// Control characters, of which the NUL would end the text, become blanks.
    void ascii(std::uint16_t tag, std::string_view text);
    void bytes(std::uint16_t tag, std::string_view values);
    void undefined(std::uint16_t tag, std::string_view values);
    void shortInt(std::uint16_t tag, std::uint16_t value);
    void longInt(std::uint16_t tag, std::uint32_t value);
    void rationals(std::uint16_t tag, const std::vector<Rational>& values);
    /// Another IFD, which stands behind this one.
    void ifd(std::uint16_t tag, const TiffWriter& other);

    bool empty() const { return entries.empty(); }
    /// The IFD with all that it refers to, for a place at this offset of the TIFF structure.
    std::string at(std::uint32_t offset) const;
    /// A whole TIFF structure with this IFD as its first.
    std::string whole() const;

  private:
    struct Entry {
        std::uint16_t tag;
        std::uint16_t type;
        std::uint32_t count;
        std::string values;
        const TiffWriter* ifd = nullptr;
    };

    void add(std::uint16_t tag, std::uint16_t type, std::size_t count, std::string values);

    std::vector<Entry> entries;
};
