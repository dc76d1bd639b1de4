#include "fuzz/kit/Fuzzing.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace fuzz {

std::uint8_t Input::take8() {
    if (bytes.empty()) return 0;
    const auto first = static_cast<std::uint8_t>(bytes.front());
    bytes.remove_prefix(1);
    return first;
}

std::uint16_t Input::take16() {
    const std::uint16_t high = take8();
    return static_cast<std::uint16_t>(high << 8 | take8());
}

const std::wstring& memoryFile(std::string_view bytes) {
    static const int file = ::memfd_create("input", MFD_CLOEXEC);
    static const std::wstring path = L"/proc/self/fd/" + std::to_wstring(file);
    const bool made = ::ftruncate(file, 0) == 0 && ::pwrite(file, bytes.data(), bytes.size(), 0) ==
                                                       static_cast<ssize_t>(bytes.size());
    require(made, "the input can be put into a file");
    return path;
}

void require(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", property);
    std::abort();
}

}  // namespace fuzz

/// What the code under test prints goes nowhere; the fuzzer talks on standard error.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(nowhere, STDOUT_FILENO);
    return 0;
}
