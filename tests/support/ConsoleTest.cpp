#include "support/Console.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <barrier>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

#include "app/MetaReader.h"
#include "support/EndingSignals.h"
#include "support/HeldLines.h"
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
        folder.wide("missing\n\x1B.mp4"),
    };
    if (kit::haveFfmpeg()) paths.push_back(folder.write("d.mp4", kit::cameraMovie()));
    std::vector<Kept> expected;
    for (const std::wstring& path : paths)
        expected.push_back(kept([&] { report(path); }));
    EXPECT_NE(expected[0].out.find("result: {"), std::string::npos);
    EXPECT_EQ(expected[4].lines, (folder.path() / "missing  .mp4|").string());

    constexpr std::size_t most = 8;
    std::array<Kept, most> printed;
    std::barrier allRedirected(most);
    const std::string stray = kit::captureOutput([&] {
        std::vector<std::jthread> threads;
        for (std::size_t first = 0; first < most; ++first) {
            threads.emplace_back([&, first] {
                const Console::Redirect here(printed[first]);
                allRedirected.arrive_and_wait();
                for (std::size_t i = 0; i < 4 * paths.size(); ++i)
                    report(paths[(first + i) % paths.size()]);
            });
        }
    });
    for (std::size_t first = 0; first < most; ++first) {
        Kept all;
        for (std::size_t i = 0; i < 4 * paths.size(); ++i) {
            all.out += expected[(first + i) % paths.size()].out;
            all.lines += expected[(first + i) % paths.size()].lines;
        }
        EXPECT_EQ(printed[first].out, all.out);
        EXPECT_EQ(printed[first].lines, all.lines);
    }
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
    // What has left is not said again.
    int tries = 0;
    const auto read = [&] { return Console::out(L"long"), ++tries == 2; };
    EXPECT_EQ(kept([&] { EXPECT_FALSE(WEKU::repeatUntilItStands(3, read)); }).out, "long");
}

TEST(Console, NothingFollowsWhatWasLost) {
    const auto lose = [] {
        ::dup2(::open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        Console::out(L"lost");
        ::dup2(kit::memoryFile(), STDOUT_FILENO);
        Console::out(L"glued");
        std::_Exit(Console::isAbandoned() && ::lseek(STDOUT_FILENO, 0, SEEK_END) == 0 ? 0 : 1);
    };
    EXPECT_EXIT(lose(), testing::ExitedWithCode(0), "^Sondex: standard output: No space .*lost\n$");
    // A signal that the caller has ignored, as nohup does, stays so.
    EXPECT_EXIT((std::signal(SIGHUP, SIG_IGN), WEKU::handleEndingSignals(), std::raise(SIGHUP),
                 std::_Exit(7)),
                testing::ExitedWithCode(7), "");
}
