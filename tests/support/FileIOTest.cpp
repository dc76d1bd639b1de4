#include "support/FileIO.h"

#include <gtest/gtest.h>

#include "support/Console.h"
#include "tests/kit/Files.h"

using WEKU::FileIO;

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
                  EXPECT_EQ(closed.write(&byte, 1), FileIO::failed);
                  EXPECT_FALSE(closed.seek_set(0));
                  FileIO file(path, L'r');
                  EXPECT_FALSE(file.seek_set(UINT64_MAX));
                  EXPECT_FALSE(file.seek_cur(-2));
                  EXPECT_EQ(file.tell(), 0U);
              }),
              "open(" + name + ", 'a') failed.\nopen(" + name + ", 'r') failed.\n" +
                  "seek_set(-1) failed - Invalid argument(22)\n"
                  "seek_cur(-2) failed - Invalid argument(22)\n");
    // Neither truncates nor appends.
    EXPECT_TRUE(FileIO::open_a(path, [&](FileIO& file) { file.write(&byte, 1); }));
    EXPECT_EQ(kit::readFile(path), "Xbcdef");
}

TEST(Console, PrintsWideTextAsItsBytes) {
    const unsigned char bytes[] = {0, 0xAB};
    EXPECT_EQ(kit::captureOutput([&] {
                  WEKU::Console::out(L"%ls|%d|%0.2f\n", L"\u00E9\xDCFF", 7, 0.5);
                  WEKU::Console::outBytes("%s\n", "\xFF");
                  WEKU::Console::out(L"%ls\n", std::wstring(5000, L'x').c_str());
                  WEKU::Console::dump(L"two:", bytes, 2);
              }),
              "\xC3\xA9\xFF|7|0.50\n\xFF\n" + std::string(5000, 'x') + "\ntwo: 00 AB\n");
}
