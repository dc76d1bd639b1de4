#include "probe/ffmpeg/Meter.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace {

/// A process that never took more is taken at its peak, which costs less to ask for.
constexpr std::uint64_t smallPeak = 64 << 20;
/// What may be asked for between two looks at the clock's milliseconds.
constexpr std::uint64_t smallRequest = 1 << 20;

struct Usage {
    std::uint64_t mostBytes;
    std::uint64_t microseconds;
};

Usage usage() {
    rusage used{};
    ::getrusage(RUSAGE_THREAD, &used);
    return {static_cast<std::uint64_t>(used.ru_maxrss) * 1024,
            static_cast<std::uint64_t>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) * 1'000'000 +
                static_cast<std::uint64_t>(used.ru_utime.tv_usec + used.ru_stime.tv_usec)};
}

/// What is resident now, which after a costly movie is far less than the peak; the peak where the
/// system does not tell.
std::uint64_t residentBytes() {
    std::array<char, 128> text{};
    const int file = ::open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
    if (file < 0) return usage().mostBytes;
    const ssize_t got = ::read(file, text.data(), text.size() - 1);
    ::close(file);
    if (got <= 0) return usage().mostBytes;
    char* second = nullptr;
    std::strtoull(text.data(), &second, 10);
    const std::uint64_t pages = std::strtoull(second, nullptr, 10);
    return pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

}  // namespace

Meter::Meter(std::uint64_t bytes, std::uint64_t microseconds)
    : lookedAt(Clock::now()), allowedBytes(bytes), allowedMicroseconds(microseconds) {
    const Usage now = usage();
    startMicroseconds = now.microseconds;
    startBytes = now.mostBytes < smallPeak ? now.mostBytes : residentBytes();
    ++running;
}

void Meter::renew() {
    startMicroseconds = usage().microseconds;
}

bool Meter::isExceeded(std::uint64_t bytes) {
    const Clock::time_point time = Clock::now();
    if (bytes < smallRequest && time - lookedAt < std::chrono::milliseconds(1)) return exceeded;
    lookedAt = time;
    const Usage now = usage();
    const std::uint64_t mostBytes = startBytes + allowedBytes * running;
    // The peak costs nothing more to ask for, and tells in nearly every case.
    exceeded = exceeded || now.microseconds - startMicroseconds > allowedMicroseconds ||
               (now.mostBytes + bytes > mostBytes && residentBytes() + bytes > mostBytes);
    return exceeded;
}
