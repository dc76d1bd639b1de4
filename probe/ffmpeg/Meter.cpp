#include "probe/ffmpeg/Meter.h"

#include <sys/resource.h>

Meter::Reading Meter::now() {
    rusage usage{};
    ::getrusage(RUSAGE_THREAD, &usage);
    return {static_cast<std::uint64_t>(usage.ru_maxrss) * 1024,
            static_cast<std::uint64_t>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)};
}

void Meter::allowMore(std::uint64_t bytes, std::uint64_t seconds) {
    allowed.bytes += bytes;
    allowed.seconds += seconds;
}

bool Meter::isExceeded() const {
    const Reading reading = now();
    return reading.bytes - start.bytes > allowed.bytes ||
           reading.seconds - start.seconds > allowed.seconds;
}
