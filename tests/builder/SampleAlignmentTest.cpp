#include "builder/SampleAlignment.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

using namespace SampleAlignment;

namespace {

/// Samples named by letters; capitals have the same sizes as the small ones and other bytes.
Sequence sequenceOf(const std::string& letters, std::multiset<std::size_t>* asked = nullptr) {
    Sequence sequence;
    for (const char letter : letters)
        sequence.sizes.push_back(static_cast<std::uint32_t>(letter | 0x20));
    sequence.hash = [letters, asked](std::size_t sample) {
        if (asked != nullptr) asked->insert(sample);
        return static_cast<std::uint64_t>(letters[sample]) * 0x9E3779B97F4A7C15U;
    };
    return sequence;
}

/// The places of the samples in the source; for an ambiguous cut "?" and the possible ones.
std::string aligned(const std::string& source, const std::string& cut,
                    std::optional<std::uint32_t> preferred = {}) {
    const Result result = align(sequenceOf(source), sequenceOf(cut), preferred);
    const bool ambiguous = result.outcome == Outcome::ambiguous;
    std::string text = ambiguous ? "?" : result.outcome == Outcome::different ? "!" : "";
    for (const std::uint32_t place : ambiguous ? result.places : result.sourceOf)
        text += std::to_string(place) + " ";
    return text;
}

}  // namespace

TEST(SampleAlignment, FindsTheSamplesOfACut) {
    const std::string source = "abcdefghijklmnopqrstuvwxyz";
    EXPECT_EQ(aligned(source, "ghi"), "6 7 8 ");
    EXPECT_EQ(aligned(source, source.substr(3, 12)), "3 4 5 6 7 8 9 10 11 12 13 14 ");
    EXPECT_EQ(aligned(source, "z"), "25 ");
    // Samples that were dropped, also right behind the first.
    EXPECT_EQ(aligned(source, "cdeghk"), "2 3 4 6 7 10 ");
    EXPECT_EQ(aligned(source, "cklmnopqrstu"), "2 10 11 12 13 14 15 16 17 18 19 20 ");
    // Equal sizes are not yet equal samples.
    EXPECT_EQ(aligned("abcabC", "abC"), "3 4 5 ");
    EXPECT_EQ(aligned("ABCDEFGHIJabcdefghij", "abcdefghij"), "10 11 12 13 14 15 16 17 18 19 ");
    EXPECT_EQ(aligned(source, "abX"), "!0 1 ");
    EXPECT_EQ(aligned(source, "abca"), "!0 1 2 ");
    EXPECT_EQ(aligned(source, "A"), "!");
    EXPECT_EQ(aligned("", "a"), "!");
}

TEST(SampleAlignment, DoesNotGuessWhereACutFitsInSeveralPlaces) {
    EXPECT_EQ(aligned("abxabyab", "ab"), "?0 3 6 ");
    EXPECT_EQ(aligned("abxabyab", "ab", 4), "3 4 ");
    EXPECT_EQ(aligned("abxabyab", "abyab"), "3 4 5 6 7 ");
    EXPECT_EQ(aligned(std::string(5, 'a'), std::string(5, 'a')), "0 1 2 3 4 ");
    EXPECT_EQ(aligned(std::string(99, 'a'), "aaa"), "?0 1 2 3 4 5 6 7 ");
}

TEST(SampleAlignment, ReadsEachSampleAtMostOnce) {
    // A picture that stands still: every place fits, and comparing them all would be quadratic.
    std::multiset<std::size_t> source, cut;
    align(sequenceOf(std::string(3000, 'a'), &source),
          sequenceOf(std::string(1500, 'a') + "A", &cut), 3);
    EXPECT_LE(source.size(), 3000U);
    EXPECT_LE(cut.size(), 1501U);
}
