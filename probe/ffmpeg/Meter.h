#pragma once

#include <cstdint>

/// What may be spent: growth of the process's largest resident size, and processor time of this
/// thread. libav bounds neither, and a hostile movie can make it spend gigabytes or hours on a few
/// kilobytes. Nothing is allowed at first.
class Meter {
  public:
    Meter() : start(now()) {}

    void allowMore(std::uint64_t bytes, std::uint64_t seconds);
    /// More has been spent than was allowed.
    bool isExceeded() const;

  private:
    struct Reading {
        std::uint64_t bytes = 0;
        std::uint64_t seconds = 0;
    };
    static Reading now();

    Reading start;
    Reading allowed;
};
