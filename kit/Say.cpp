#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "kit/Command.h"
#include "kit/scan/Record.h"

namespace kit {

void complain(std::string_view message) {
    const bool colour = ::isatty(STDERR_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
    const std::string line =
        (colour ? "\x1b[31msondexkit:\x1b[0m " : "sondexkit: ") + printable(message) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

bool print(std::string_view text) {
    const bool written =
        std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    if (!written) complain("standard output: " + std::string(std::strerror(errno)));
    return written;
}

}  // namespace kit
