#pragma once

#include <algorithm>
#include <cstdint>

namespace MP4 {

/// No children are read below a box of this depth; a camera's movies reach 7.
inline constexpr std::int32_t deepestParent = 64;

/// Announced table rows or sensor records beyond the end of the file are zeros, of which at most
/// this many are kept; further ones are only counted.
inline constexpr std::uint64_t mostRowsBeyondFile = 65536;

/// What one parse may spend. Boxes clip to their own end and not to their parent's, so a hostile
/// file can make the same bytes belong to any number of boxes; without a budget a file of a
/// kilobyte takes exponential time, and a sparse one of gigabytes as many of memory. No camera's
/// movie comes near it. docs/limits.md has the sum.
struct ParseBudget {
    /// Boxes that are listed in the tree.
    std::uint64_t boxes = UINT64_MAX;
    /// Payload bytes that are kept or decoded: table rows, uuid payloads, texts.
    std::uint64_t payloadBytes = UINT64_MAX;
    /// Table rows beyond the end of the file.
    std::uint64_t rowsBeyondFile = mostRowsBeyondFile;

    static ParseBudget forFile(std::uint64_t fileLength) {
        constexpr std::uint64_t mebibyte = 1 << 20;
        return {std::min(fileLength / 256 + 131072, mebibyte),
                std::min({fileLength, fileLength / 4 + 8 * mebibyte, 256 * mebibyte}),
                mostRowsBeyondFile};
    }

    /// Takes at most `wanted` from `left` and returns what it got.
    static std::uint64_t draw(std::uint64_t& left, std::uint64_t wanted) {
        const std::uint64_t got = std::min(left, wanted);
        left -= got;
        return got;
    }
};

}  // namespace MP4
