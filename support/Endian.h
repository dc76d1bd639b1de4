#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Fixed-width codecs: the only place where byte order is looked at. Pointers need no alignment.
namespace WEKU {

template <std::unsigned_integral T>
constexpr T byteSwap(T value) {
    if constexpr (sizeof(T) == 1) {
        return value;
    } else if constexpr (sizeof(T) == 2) {
        return __builtin_bswap16(value);
    } else if constexpr (sizeof(T) == 4) {
        return __builtin_bswap32(value);
    } else {
        return __builtin_bswap64(value);
    }
}

/// Reads a number of T's width stored most significant byte first.
template <std::unsigned_integral T>
T loadBig(const void* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return std::endian::native == std::endian::little ? byteSwap(value) : value;
}

/// Reads a number of T's width stored least significant byte first.
template <std::unsigned_integral T>
T loadLittle(const void* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return std::endian::native == std::endian::big ? byteSwap(value) : value;
}

/// Stores `value` most significant byte first.
template <std::unsigned_integral T>
void storeBig(void* bytes, T value) {
    if constexpr (std::endian::native == std::endian::little) value = byteSwap(value);
    std::memcpy(bytes, &value, sizeof value);
}

/// Stores `value` least significant byte first.
template <std::unsigned_integral T>
void storeLittle(void* bytes, T value) {
    if constexpr (std::endian::native == std::endian::big) value = byteSwap(value);
    std::memcpy(bytes, &value, sizeof value);
}

}  // namespace WEKU
