#pragma once

#include <set>
#include <string>

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
    /// A half transfer, then the end of the process.
    kill,
};

/// What was done to the calls since the last `arm`.
struct Record {
    long calls = 0;
    /// The names of those that failed or fell short.
    std::set<std::string> struck;
};

/// Lets the calls of this thread fail from the `at`-th on, counted from 1.
void arm(How how, long at);
Record disarm();

}  // namespace faults
