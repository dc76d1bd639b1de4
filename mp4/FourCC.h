#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>

#include "support/Portability.h"

namespace MP4 {

/// A four-character code: its four bytes in file order, compared raw (never byte-swapped).
using FourCC = std::uint32_t;

consteval FourCC fourCC(const char (&text)[5]) {
    return WEKU::bitCast<FourCC>(std::array<char, 4>{text[0], text[1], text[2], text[3]});
}

/// The code that stands at `bytes`, which holds at least four.
inline FourCC fourCCAt(const void* bytes) {
    FourCC code;
    std::memcpy(&code, bytes, sizeof code);
    return code;
}

/// The code as text of at most four characters; a zero byte ends it early.
std::string fourCCText(FourCC code);

/// The 16-byte identifier of a uuid box, in file order.
using UserType = std::array<unsigned char, 16>;

inline constexpr UserType spatialDataType{0x28, 0xF3, 0x11, 0xE2, 0xB7, 0x91, 0x4F, 0x6F,
                                          0x94, 0xE2, 0x4F, 0x5D, 0xEA, 0xCB, 0x3C, 0x01};
/// Spherical Video V1.
inline constexpr UserType sphericalVideoType{0xFF, 0xCC, 0x82, 0x63, 0xF8, 0x55, 0x4A, 0x93,
                                             0x88, 0x14, 0x58, 0x7A, 0x02, 0x52, 0x1F, 0xDD};
inline constexpr UserType xmpType{0xBE, 0x7A, 0xCF, 0xCB, 0x97, 0xA9, 0x42, 0xE8,
                                  0x9C, 0x71, 0x99, 0x94, 0x91, 0xE3, 0xAF, 0xAC};

/// Box paths that more than one reader looks up. Deliberate: the codes of the camera's own user
/// data begin with ASCII '@', not with the byte 0xA9 of the standard location box.
namespace path {
inline constexpr char model[] = "moov.udta.@mod";
inline constexpr char makerNote[] = "moov.udta.KMKN";
inline constexpr char position[] = "moov.udta.@xyz";
inline constexpr char track[] = "moov.trak";
inline constexpr char trackUuid[] = "moov.trak.uuid";
inline constexpr char sampleDescription[] = "moov.trak.mdia.minf.stbl.stsd";
}  // namespace path

}  // namespace MP4
