#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

/// Finds a cut's samples in those of its source by their content alone: a stream copy keeps the
/// encoded bytes of every sample but neither their places nor their times.
namespace SampleAlignment {

/// The samples of a track in decoding order. `hash` reads the sample and is asked only where the
/// sizes leave it open.
struct Sequence {
    std::vector<std::uint32_t> sizes;
    std::function<std::uint64_t(std::size_t sample)> hash;
};

enum class Outcome {
    /// Every sample of the cut is one of the source, in the source's order; some of those may be
    /// missing in between.
    aligned,
    /// The cut fits in several places, as a picture that stands still does.
    ambiguous,
    /// Some sample of the cut is not to be found where it would have to be.
    different,
};

struct Result {
    Outcome outcome = Outcome::different;
    /// For each sample of the cut the one of the source; when they differ, as far as that went.
    std::vector<std::uint32_t> sourceOf;
    /// When ambiguous, where in the source the cut's first sample may stand; at most eight of them.
    std::vector<std::uint32_t> places;
};

/// Where several places fit, the nearest to `preferred` is taken, if there is one. Costs time and
/// memory in proportion to the two lists, and at most one hash a sample.
Result align(const Sequence& source, const Sequence& cut,
             std::optional<std::uint32_t> preferred = {});

}  // namespace SampleAlignment
