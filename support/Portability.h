#pragma once

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

}  // namespace WEKU
