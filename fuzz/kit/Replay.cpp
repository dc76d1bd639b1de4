#include <sys/resource.h>

#include <cstdio>
#include <filesystem>
#include <vector>

#include "fuzz/kit/Fuzzing.h"
#include "tests/kit/Files.h"

/// Runs a target on every file of the folders named, as an ordinary program of any compiler.
int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            const std::string bytes = kit::readFile(entry.path());
            // In a block of its own size, so that a sanitizer sees every byte read behind it.
            const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
            std::fprintf(stderr, "%s\n", entry.path().c_str());
            LLVMFuzzerTestOneInput(input.data(), input.size());
            // The fuzzer's own limit.
            rusage used{};
            ::getrusage(RUSAGE_SELF, &used);
            fuzz::require(used.ru_maxrss < 1 << 20, "no input takes a gibibyte");
            ++count;
        }
    }
    std::fprintf(stderr, "%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
