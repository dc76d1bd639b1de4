#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

/// What reading one movie may cost: growth of the process's resident memory since the meter was
/// made, and processor time of this thread. libav bounds neither, and a hostile movie can make it
/// spend gigabytes or hours on a few kilobytes.
class Meter {
  public:
    Meter(std::uint64_t bytes, std::uint64_t microseconds);
    ~Meter() { --running; }
    Meter(const Meter&) = delete;
    Meter& operator=(const Meter&) = delete;

    /// The processor time counts from here on; memory goes on counting from the start.
    void renew();
    void allowMore(std::uint64_t bytes) { allowedBytes += bytes; }
    /// More has been spent than was allowed, or would be with `bytes` more memory. Stays true.
    /// Cheap enough to be asked for every few bytes: the system is asked once a millisecond, in
    /// which nobody touches more than some megabytes.
    bool isExceeded(std::uint64_t bytes = 0);

  private:
    /// Memory is the whole process's, so meters that run at the same time share what they allow.
    static inline std::atomic<std::uint64_t> running{0};

    using Clock = std::chrono::steady_clock;

    Clock::time_point lookedAt;
    std::uint64_t startBytes;
    std::uint64_t startMicroseconds;
    std::uint64_t allowedBytes;
    std::uint64_t allowedMicroseconds;
    bool exceeded = false;
};
