#include "builder/SampleAlignment.h"

#include <algorithm>

namespace SampleAlignment {
namespace {

/// For every position of `source` how many entries from there on are those that `cut` begins with:
/// the Z function of the two lists, which is linear whatever they hold.
std::vector<std::uint32_t> matchLengths(const std::vector<std::uint64_t>& cut,
                                        const std::vector<std::uint64_t>& source) {
    const std::size_t total = cut.size() + source.size();
    const auto at = [&](std::size_t i) -> std::uint64_t {
        return i < cut.size() ? cut[i] : source[i - cut.size()];
    };
    std::vector<std::uint32_t> lengths(total);
    std::size_t left = 0, right = 0;
    for (std::size_t i = 1; i < total; ++i) {
        std::size_t length = i < right ? std::min<std::size_t>(right - i, lengths[i - left]) : 0;
        while (i + length < total && at(length) == at(i + length))
            ++length;
        if (i + length > right) left = i, right = i + length;
        lengths[i] = static_cast<std::uint32_t>(length);
    }
    lengths.erase(lengths.begin(), lengths.begin() + static_cast<std::ptrdiff_t>(cut.size()));
    for (std::uint32_t& length : lengths)
        length = std::min(length, static_cast<std::uint32_t>(cut.size()));
    return lengths;
}

class Aligner {
  public:
    Aligner(const Sequence& source, const Sequence& cut)
        : source(source),
          cut(cut),
          sourceHashes(source.sizes.size()),
          cutHashes(cut.sizes.size()) {}

    Result run(std::optional<std::uint32_t> preferred) {
        Result result;
        const std::vector<std::uint32_t> lengths = verifiedLengths();
        const auto longest = std::max_element(lengths.begin(), lengths.end());
        if (longest == lengths.end() || *longest == 0) return result;
        std::uint32_t place = static_cast<std::uint32_t>(longest - lengths.begin());
        std::uint32_t nearest = UINT32_MAX;
        bool several = false;
        for (std::uint32_t i = 0; i < lengths.size(); ++i) {
            if (lengths[i] != *longest) continue;
            several = several || i != place;
            const std::uint32_t wanted = preferred.value_or(0);
            const std::uint32_t distance = i < wanted ? wanted - i : i - wanted;
            if (preferred && distance < nearest) nearest = distance, place = i;
            if (result.places.size() < 8) result.places.push_back(i);
        }
        if (several && !preferred) {
            result.outcome = Outcome::ambiguous;
            return result;
        }
        follow(place, result);
        return result;
    }

  private:
    /// So many equal sizes in a row are no accident, and worth reading the samples for.
    static constexpr std::uint32_t conclusive = 8;

    static std::uint64_t hashOf(const Sequence& sequence, std::size_t sample,
                                std::vector<std::optional<std::uint64_t>>& known) {
        if (!known[sample]) known[sample] = sequence.hash(sample);
        return *known[sample];
    }
    bool equal(std::size_t inSource, std::size_t inCut) {
        return source.sizes[inSource] == cut.sizes[inCut] &&
               hashOf(source, inSource, sourceHashes) == hashOf(cut, inCut, cutHashes);
    }

    /// As matchLengths of the samples themselves, for places where at least `conclusive` sizes
    /// match; where there are none, for those where the first does.
    std::vector<std::uint32_t> verifiedLengths() {
        if (cut.sizes.empty() || source.sizes.empty()) return {};
        const std::vector<std::uint32_t> bySize = matchLengths(
            {cut.sizes.begin(), cut.sizes.end()}, {source.sizes.begin(), source.sizes.end()});
        const auto full = static_cast<std::uint32_t>(cut.sizes.size());
        for (const std::uint32_t least : {full, std::min(conclusive, full), 1U}) {
            // Only samples that some place would have to match are read. A hash is made odd, so
            // that the number of the others equals none.
            std::vector<std::uint64_t> inSource(bySize.size());
            std::size_t covered = 0;
            for (std::size_t i = 0; i < bySize.size(); ++i) {
                if (bySize[i] >= least) covered = std::max<std::size_t>(covered, i + bySize[i]);
                inSource[i] = i < covered ? hashOf(source, i, sourceHashes) | 1 : 0;
            }
            if (covered == 0) continue;
            std::vector<std::uint64_t> inCut(full);
            for (std::size_t i = 0; i < full; ++i)
                inCut[i] = hashOf(cut, i, cutHashes) | 1;
            std::vector<std::uint32_t> lengths = matchLengths(inCut, inSource);
            for (std::size_t i = 0; i < lengths.size(); ++i)
                lengths[i] = std::min(lengths[i], bySize[i]);
            if (std::any_of(lengths.begin(), lengths.end(), [](auto length) { return length > 0; }))
                return lengths;
        }
        return {};
    }

    /// From the place of the first sample on, each next one is the nearest that fits.
    void follow(std::uint32_t place, Result& result) {
        for (std::size_t i = 0; i < cut.sizes.size(); ++i, ++place) {
            while (place < source.sizes.size() && !equal(place, i))
                ++place;
            if (place == source.sizes.size()) return;
            result.sourceOf.push_back(place);
        }
        result.outcome = Outcome::aligned;
    }

    const Sequence& source;
    const Sequence& cut;
    std::vector<std::optional<std::uint64_t>> sourceHashes;
    std::vector<std::optional<std::uint64_t>> cutHashes;
};

}  // namespace

Result align(const Sequence& source, const Sequence& cut, std::optional<std::uint32_t> preferred) {
    return Aligner(source, cut).run(preferred);
}

}  // namespace SampleAlignment
