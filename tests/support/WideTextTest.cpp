#include "support/WideText.h"

#include <gtest/gtest.h>

using namespace WEKU::wchar;

TEST(WideText, DecodesUtf8AndEscapesEveryOtherByte) {
    // Overlong, surrogate, beyond U+10FFFF, cut sequences and stray bytes.
    for (const std::string bytes : {"\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                    "\xE6\x97", "\xFF", "\x80"}) {
        std::wstring escaped;
        for (const char byte : bytes)
            escaped += static_cast<wchar_t>(0xDC00 + static_cast<unsigned char>(byte));
        EXPECT_EQ(widen(bytes), escaped);
        EXPECT_EQ(narrow(escaped), bytes);
    }
}

TEST(WideText, CapsBothWays) {
    EXPECT_EQ(mbs2wcs(std::string(3000, 'x')).size(), 2048U);
    EXPECT_EQ(mbs2wcs(std::string_view("ab\0cd", 5)), L"ab");
    EXPECT_EQ(wcs2mbs(L"ab"), std::string("ab").append(10, '\0'));
    // 2047 bytes are taken: the next character has two and does not fit whole.
    EXPECT_EQ(wcs2mbs(std::wstring(2047, L'x').append(L"\u00E9")),
              std::string(2047, 'x').append(1, '\0'));
}
