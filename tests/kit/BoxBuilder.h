#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "mp4/FourCC.h"
#include "support/Endian.h"

/// Boxes as byte strings: a malformed header is as easy to write as a good one. Nest by passing
/// the sum of the children as the payload.
namespace kit {

/// The low bytes of a number as a big-endian T.
template <class T>
std::string big(std::uint64_t value) {
    std::string bytes(sizeof(T), '\0');
    WEKU::storeBig(bytes.data(), static_cast<T>(value));
    return bytes;
}
constexpr auto u8 = big<std::uint8_t>;
constexpr auto u16 = big<std::uint16_t>;
constexpr auto u32 = big<std::uint32_t>;
constexpr auto u64 = big<std::uint64_t>;
std::string zeros(std::size_t count);

/// A box with the 32-bit size that fits.
std::string box(std::string_view code, std::string_view payload = {});
/// A box with the 64-bit size that fits.
std::string largeBox(std::string_view code, std::string_view payload = {});
/// A box whose 32-bit size field holds `claimed`, whatever is true.
std::string boxClaiming(std::uint32_t claimed, std::string_view code,
                        std::string_view payload = {});
/// A box whose 64-bit size field holds `claimed`, whatever is true.
std::string largeBoxClaiming(std::uint64_t claimed, std::string_view code,
                             std::string_view payload = {});
/// A box that begins with a version byte and three zero flag bytes.
std::string fullBox(std::string_view code, unsigned version, std::string_view payload);
std::string uuidBox(const MP4::UserType& type, std::string_view payload = {});

std::string mvhd(std::uint32_t timeScale, std::uint32_t duration, std::uint32_t created = 0);
/// Width and height in whole pixels.
std::string tkhd(int width, int height);
/// A track of one sample table; `entries` are the sample entries, `tables` the boxes behind stsd.
std::string trackOf(const std::string& header, const std::string& entries,
                    const std::string& tables = {});
/// A visual sample entry of this code.
std::string visualEntry(std::string_view code, int width, int height,
                        std::string_view children = {});

}  // namespace kit
