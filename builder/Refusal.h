#pragma once

#include <string>

/// Why the metadata of a movie cannot be built; thrown, and caught where the operation ends. Its
/// text speaks of the movies as "the source" and "the target".
struct Refusal {
    std::string reason;
};
