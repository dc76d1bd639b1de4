#pragma once

#include <charconv>
#include <cstdio>
#include <cstring>
#include <type_traits>

/// What some of the systems and standard libraries that the project builds for lack. Linux has it
/// all; the others (WebAssembly with an older libc++, macOS, the BSDs) take the plain fallback.

/// 1 where the kernel copies between files (copy_file_range), tells holes from data (SEEK_DATA)
/// and takes advice about its cache.
#ifdef __linux__
#define SONDEX_KERNEL_COPIES 1
#else
#define SONDEX_KERNEL_COPIES 0
#endif

namespace WEKU {

/// std::bit_cast, of which older libraries have the compilers' half only.
template <class To, class From>
constexpr To bitCast(const From& value) {
    static_assert(sizeof(To) == sizeof(From));
    static_assert(std::is_trivially_copyable_v<To> && std::is_trivially_copyable_v<From>);
    return __builtin_bit_cast(To, value);
}

/// Writes the number as "%.6g" prints it in the C locale, whatever the caller's is, and returns
/// the end. A buffer of 32 characters is always enough.
inline char* writeGeneral(char* first, char* last, double value) {
#ifdef __cpp_lib_to_chars
    return std::to_chars(first, last, value, std::chars_format::general, 6).ptr;
#else
    const int length = std::snprintf(first, static_cast<std::size_t>(last - first), "%.6g", value);
    if (char* point = std::strchr(first, ','); point != nullptr) *point = '.';
    return first + length;
#endif
}

}  // namespace WEKU
