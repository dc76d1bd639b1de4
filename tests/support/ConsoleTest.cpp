#include "support/Console.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

#include "support/EndingSignals.h"
#include "support/HeldLines.h"
#include "tests/kit/Files.h"

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

Kept kept(const std::function<void()>& action) {
    Kept sink;
    const Console::Redirect here(sink);
    action();
    return sink;
}

}  // namespace

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
        Console::warn("%ls", L"\n\x1B");
    });
    EXPECT_NE(inner.out.find("\n2"), std::string::npos);
    EXPECT_EQ(outer.out, "1");
    EXPECT_EQ(outer.lines, "  |");
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
