#include "kit/scan/Progress.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

namespace kit {
namespace {

/// "2:05", "1:02:05".
std::string timeText(double seconds) {
    const auto whole = static_cast<long>(std::clamp(seconds, 0.0, 1e9));
    std::array<char, 32> text{};
    if (whole < 3600) {
        std::snprintf(text.data(), text.size(), "%ld:%02ld", whole / 60, whole % 60);
    } else {
        std::snprintf(text.data(), text.size(), "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60,
                      whole % 60);
    }
    return text.data();
}

}  // namespace

Progress::Progress(bool wanted)
    : shown(wanted && ::isatty(STDERR_FILENO) == 1), start(Clock::now()), lastShown(start) {}

Progress::~Progress() {
    if (counterPipe >= 0) ::close(counterPipe);
    if (counter < 0) return;
    ::kill(counter, SIGKILL);
    ::waitpid(counter, nullptr, 0);
}

void Progress::countAhead(const NameOptions& names) {
    std::array<int, 2> ends{};
    if (!shown || ::pipe(ends.data()) != 0) return;
    counterPipe = ends[0];
    ::fcntl(counterPipe, F_SETFL, O_NONBLOCK);
    counter = ::fork();
    if (counter == 0) {
#ifdef __linux__
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
        try {
            Names all(names);
            Name name;
            std::uint64_t files = 0;
            while (all.next(name) == Names::Next::name)
                ++files;
            ::_exit(::write(ends[1], &files, sizeof files) == sizeof files ? 0 : 1);
        } catch (...) {
            ::_exit(1);
        }
    }
    ::close(ends[1]);
}

void Progress::hearCounter() {
    std::uint64_t files = 0;
    if (counterPipe < 0 || ::read(counterPipe, &files, sizeof files) != sizeof files) return;
    expected = files;
    ::close(counterPipe);
    counterPipe = -1;
}

void Progress::count(bool isFailed) {
    ++read;
    if (isFailed) ++failed;
}

void Progress::show(std::optional<double> part) {
    if (!shown || Clock::now() - lastShown < std::chrono::milliseconds(200)) return;
    hearCounter();
    print(part, false);
    lastShown = Clock::now();
}

void Progress::finish() {
    if (shown) print(std::nullopt, true);
}

void Progress::print(std::optional<double> part, bool last) {
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::string line = std::to_string(read).insert(0, 1, '\r') + " files";
    if (expected && !last) line += " of " + std::to_string(*expected);
    if (skipped > 0) line += ", " + std::to_string(skipped) + " passed over";
    if (failed > 0) line += ", " + std::to_string(failed) + " failed";
    std::array<char, 48> rate{};
    std::snprintf(rate.data(), rate.size(), ", %.0f/s",
                  static_cast<double>(read) / std::max(seconds, 0.001));
    line += rate.data();
    if (expected && *expected > 0)
        part = static_cast<double>(read + skipped) / static_cast<double>(*expected);
    if (last) {
        line += ", " + timeText(seconds);
    } else if (part && *part > 0) {
        line += ", " + timeText(seconds * (1 - *part) / *part) + " left";
    }
    line += last ? "\x1b[K\n" : "\x1b[K";
    // A terminal that is gone is no reason to stop.
    [[maybe_unused]] const ssize_t n = ::write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace kit
