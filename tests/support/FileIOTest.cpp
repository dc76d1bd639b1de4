#include "support/FileIO.h"

#include <gtest/gtest.h>

#include "support/Console.h"
#include "support/WideText.h"
#include "tests/kit/Files.h"

using WEKU::FileIO;
using namespace WEKU::wchar;

TEST(FileIO, FailuresPrintTheirLinesAndReturnFailureValues) {
    const kit::TempFolder folder;
    const std::wstring path = folder.write("f", "abcdef");
    const std::wstring missing = folder.wide("missing");
    const std::string name = (folder.path() / "missing").string();
    unsigned char byte = 'X';
    EXPECT_EQ(kit::captureOutput([&] {
                  EXPECT_FALSE(FileIO::open_a(missing, [](FileIO&) { ADD_FAILURE(); }));
                  FileIO closed(missing, L'r');
                  EXPECT_EQ(closed.read(&byte, 1), FileIO::failed);
                  EXPECT_FALSE(closed.seek_set(0));
                  FileIO file(path, L'r');
                  EXPECT_FALSE(file.seek_set(UINT64_MAX));
                  EXPECT_FALSE(file.seek_cur(-2));
              }),
              "open(" + name + ", 'a') failed.\nopen(" + name + ", 'r') failed.\n" +
                  "seek_set(-1) failed - Invalid argument(22)\n"
                  "seek_cur(-2) failed - Invalid argument(22)\n");
    // Neither truncates nor appends.
    EXPECT_TRUE(FileIO::open_a(path, [&](FileIO& file) { file.write(&byte, 1); }));
    EXPECT_EQ(kit::readFile(path), "Xbcdef");
}

TEST(WideText, EscapesEveryByteThatIsNoUtf8) {
    // Overlong, surrogate, beyond U+10FFFF, and a cut sequence.
    for (const std::string bytes :
         {"\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE6\x97"}) {
        std::wstring escaped;
        for (const char byte : bytes)
            escaped += static_cast<wchar_t>(0xDC00 + static_cast<unsigned char>(byte));
        EXPECT_EQ(widen(bytes), escaped);
        EXPECT_EQ(narrow(escaped), bytes);
    }
    // 2047 bytes are taken: the next character has two and does not fit whole.
    EXPECT_EQ(wcs2mbs(std::wstring(2047, L'x').append(L"\u00E9")), std::string(2047, 'x') + '\0');
}

TEST(Console, PrintsWideTextAsItsBytes) {
    EXPECT_EQ(kit::captureOutput([&] {
                  WEKU::Console::out(L"%ls|%d|%0.2f\n", L"\u00E9\xDCFF", 7, 0.5);
                  WEKU::Console::out(L"%ls\n", std::wstring(5000, L'x').c_str());
              }),
              "\xC3\xA9\xFF|7|0.50\n" + std::string(5000, 'x') + "\n");
}
