#include "support/Console.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <thread>
#include <vector>

#include "app/MetaReader.h"
#include "tests/kit/Files.h"
#include "tests/kit/Program.h"
#include "tests/kit/TiffBuilder.h"

namespace {

namespace Console = WEKU::Console;

/// Keeps what is printed.
class Kept final : public Console::Sink {
  public:
    void write(std::string_view bytes) override { out.append(bytes); }
    void warn(std::string_view line) override { lines.append(line).append("|"); }

    std::string out;
    std::string lines;
};

/// Reads a file as the program does and prints all that can be printed of it.
void report(const std::wstring& path) {
    MetaReader reader;
    if (path.ends_with(L".jpg")) {
        if (reader.parse_JPEG(path, true)) reader.dumpToJSON_still(false);
    } else if (path.ends_with(L".dng")) {
        if (reader.parse_DNG(path, true)) reader.dumpToJSON_still(true);
    } else if (reader.parse(path)) {
        reader.dumpToJSON();
    } else {
        Console::warn("%ls", path.c_str());
    }
}

Kept kept(const std::function<void()>& action) {
    Kept sink;
    const Console::Redirect here(sink);
    action();
    return sink;
}

}  // namespace

TEST(Console, EveryThreadPrintsIntoItsOwnSink) {
    const kit::TempFolder folder;
    std::vector<std::wstring> paths = {
        folder.write("a.jpg", kit::CameraTiff().jpeg()),
        folder.write("b.dng", kit::CameraTiff().dng()),
        folder.write("cut.dng", kit::CameraTiff().dng().substr(0, 300)),
        folder.write("c.mp4", "no movie"),
        folder.wide("missing.mp4"),
    };
    if (kit::haveFfmpeg()) paths.push_back(folder.write("d.mp4", kit::cameraMovie()));
    std::vector<Kept> expected;
    for (const std::wstring& path : paths)
        expected.push_back(kept([&] { report(path); }));
    EXPECT_NE(expected[0].out.find("result: {"), std::string::npos);
    EXPECT_EQ(expected[4].lines, (folder.path() / "missing.mp4|").string());

    const std::string stray = kit::captureOutput([&] {
        std::vector<std::jthread> threads;
        for (std::size_t first = 0; first < 8; ++first) {
            threads.emplace_back([&, first] {
                for (std::size_t i = first; i < first + 4 * paths.size(); ++i) {
                    const std::size_t at = i % paths.size();
                    const Kept printed = kept([&] { report(paths[at]); });
                    EXPECT_EQ(printed.out, expected[at].out);
                    EXPECT_EQ(printed.lines, expected[at].lines);
                }
            });
        }
    });
    EXPECT_EQ(stray, "");
}

TEST(Console, RedirectsNestAndEndWithTheirScope) {
    Kept inner;
    const Kept outer = kept([&] {
        Console::out(L"%ls", L"1");
        {
            const Console::Redirect deeper(inner);
            const std::array<unsigned char, 2> bytes{0x0A, 0xF0};
            Console::dump(L"%p", bytes.data(), 0);
            Console::outBytes("%s", "2");
        }
        Console::warn("%d", 3);
    });
    EXPECT_NE(inner.out.find("\n2"), std::string::npos);
    EXPECT_EQ(outer.out, "1");
    EXPECT_EQ(outer.lines, "3|");
    EXPECT_EQ(kit::captureOutput([] { Console::out(L"%ls", L"free"); }), "free");
}
