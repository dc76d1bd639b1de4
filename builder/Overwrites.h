#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/FileIO.h"

/// Bytes to be written over others where they stand in a file, which keeps its length.
class Overwrites {
  public:
    void add(std::uint64_t offset, std::string bytes);
    void addZeros(std::uint64_t offset, std::uint64_t count);
    /// Adds where `after` differs from `before`, which is as long and stands at the offset.
    void addDifference(std::uint64_t offset, const std::string& before, const std::string& after);

    bool empty() const { return all.empty(); }
    std::uint64_t bytes() const;
    /// True when one write of a disk's sector makes them all.
    bool isOneSector() const;
    /// Makes them in the bytes of the whole file.
    void applyTo(std::string& file) const;
    /// Writes them; false after an error. What was written until then stays.
    bool write(WEKU::FileIO& file) const;

  private:
    struct Overwrite {
        std::uint64_t offset;
        std::string bytes;
        /// That many zeros, when there are no bytes.
        std::uint64_t zeros = 0;
    };
    std::vector<Overwrite> all;
};
