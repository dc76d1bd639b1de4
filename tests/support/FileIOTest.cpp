#include "support/FileIO.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/WideText.h"
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
                  EXPECT_FALSE(closed.seek_set(0));
                  FileIO file(path, L'r');
                  EXPECT_FALSE(file.seek_set(UINT64_MAX));
                  EXPECT_FALSE(file.seek_cur(-2));
              }),
              "open(" + name + ", 'a') failed.\nopen(" + name + ", 'r') failed.\n" +
                  "seek_set(-1) failed - Invalid argument(22)\n"
                  "seek_cur(-2) failed - Invalid argument(22)\n");
    // A pipe gives what is there.
    int ends[2];
    ASSERT_TRUE(::pipe(ends) == 0 && ::write(ends[1], "abc", 3) == 3);
    const std::wstring pipe = L"/proc/self/fd/" + std::to_wstring(ends[0]);
    unsigned char bytes[9];
    EXPECT_EQ(FileIO(pipe, L'r').read(bytes, sizeof bytes), 3U);
    // Neither truncates nor appends.
    EXPECT_TRUE(FileIO::open_a(path, [&](FileIO& file) { (void)file.write(&byte, 1); }));
    EXPECT_EQ(kit::readFile(path), "Xbcdef");
    // Names are cut between characters.
    const std::wstring longName = WEKU::wchar::widen(std::string(2047, 'a') + "\u00E9");
    EXPECT_EQ(WEKU::wchar::wcs2mbs(longName).back(), '\0');
}
