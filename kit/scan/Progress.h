#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>

#include "kit/scan/Names.h"

namespace kit {

/// Counts, and on a terminal shows, how far a scan is.
class Progress {
  public:
    /// Shows only what is wanted, and only where standard error is a terminal.
    explicit Progress(bool wanted);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Lets a process count how many names there will be, so that the scan need not wait for that.
    void countAhead(const NameOptions& names);

    void count(bool isFailed);
    void skip() { ++skipped; }

    /// `part`: the part of the names that was given out, where that is known.
    void show(std::optional<double> part);
    void finish();

    [[nodiscard]] bool isShown() const { return shown; }
    [[nodiscard]] std::uint64_t failures() const { return failed; }

  private:
    using Clock = std::chrono::steady_clock;

    void hearCounter();
    void print(std::optional<double> part, bool last);

    bool shown = false;
    std::uint64_t read = 0;
    std::uint64_t failed = 0;
    std::uint64_t skipped = 0;
    pid_t counter = -1;
    int counterPipe = -1;
    std::optional<std::uint64_t> expected;
    Clock::time_point start;
    Clock::time_point lastShown;
};

}  // namespace kit
