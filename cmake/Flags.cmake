# The compile flags of everything the project builds; consumers of the library do not inherit them.
add_library(sondex_flags INTERFACE)

# Single precision means a rounding after every operation: a contracted multiply-add changes
# printed digits.
target_compile_options(sondex_flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion
                                              -ffp-contract=off)

if(SONDEX_WERROR)
    target_compile_options(sondex_flags INTERFACE -Werror)
endif()
if(SONDEX_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With the sanitizers' code in between, g++ 12 sees uninitialised reads inside <regex>.
    target_compile_options(sondex_flags INTERFACE -Wno-maybe-uninitialized)
endif()
if(SONDEX_FUZZ AND NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "SONDEX_FUZZ needs clang: libFuzzer is part of it.")
endif()
if(SONDEX_SANITIZE OR SONDEX_FUZZ)
    set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    if(SONDEX_FUZZ)
        list(APPEND sanitizers -fsanitize=fuzzer-no-link)
    endif()
    # The library's own checks find what stays inside an allocation.
    target_compile_options(sondex_flags INTERFACE ${sanitizers} -D_GLIBCXX_ASSERTIONS)
    target_link_options(sondex_flags INTERFACE ${sanitizers})
endif()
if(EMSCRIPTEN)
    # Sizes of files have 64 bits, those of memory 32; what is allocated is checked where it is.
    target_compile_options(sondex_flags INTERFACE -Oz -fwasm-exceptions -Wno-shorten-64-to-32)
    target_link_options(sondex_flags INTERFACE -fwasm-exceptions)
    return()
endif()
# Every input may be an attack. What the optimised builds do so that a fault that was overlooked
# ends the program and does not take it over; tools/checkHardening.py holds the program against it.
# The sanitizers do more and bear neither the checked calls nor the stack's other layouts.
if(NOT SONDEX_SANITIZE AND NOT SONDEX_FUZZ)
    set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
    target_compile_options(sondex_flags INTERFACE -fstack-protector-strong -fstack-clash-protection
        $<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=3>)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
        target_compile_options(sondex_flags INTERFACE -fcf-protection)
    endif()
    target_link_options(sondex_flags INTERFACE -Wl,-z,relro,-z,now)
endif()
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# Nobody exchanges a function of the library under it, so calls inside it need no detour.
target_compile_options(sondex_flags INTERFACE -fno-semantic-interposition)
if(SONDEX_COVERAGE)
    target_compile_options(sondex_flags INTERFACE --coverage)
    target_link_options(sondex_flags INTERFACE --coverage)
endif()
