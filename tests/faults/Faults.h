#pragma once

#include <functional>

/// Faults of the system's file calls. This program defines the calls of its own name, so that
/// those of the library pass through here and can fail, fall short or be the last.
namespace faults {

enum class How : int {
    errorOnce,
    /// Long enough for a reader to miss a whole box header.
    errorThrice,
    errorForEver,
    shortOnce,
    shortForEver,
    /// One more write, which falls short, then none.
    diskFull,
    /// A half transfer, then the end of the process: at once, or by a signal that it can answer.
    kill,
    terminate,
};

/// What happened to the calls since `arm`, as bits: whether there was the one from which they were
/// to fail, whether one failed or fell short, which of those failed that clean up or bring a file
/// to the disk, and whether a file to write got the number of a closed standard stream.
enum Seen {
    reached = 2,
    struck = 4,
    unlinkFailed = 8,
    truncateFailed = 16,
    flushFailed = 32,
    tookStream = 64
};

/// Lets the calls of this thread fail from the `at`-th on, counted from 1.
void arm(How how, long at);
int disarm();

/// Whether this process meets a file system without files that have no name.
void nameAllFiles(bool all);

/// Runs `step` once, ahead of the next call of this name: what another process may do in between.
void before(const char* call, std::function<void()> step);

}  // namespace faults
