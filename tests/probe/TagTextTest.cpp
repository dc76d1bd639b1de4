#include "probe/TagText.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>

TEST(TagText, EqualsTheRegularExpression) {
    const std::regex expression("<t> *(.+) *</t>");
    const std::string pieces[] = {"<t>", "</t>", " ",  "a",    "\n",
                                  "\r",  "<",    "t>", "\xC3", std::string(1, '\0')};
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (auto n = random() % 12; n > 0; --n)
            text += pieces[random() % std::size(pieces)];
        std::smatch match;
        const bool found = std::regex_search(text, match, expression);
        ASSERT_EQ(textBetweenTags(text, "t"), found ? std::optional(match[1].str()) : std::nullopt)
            << text;
    }
}
