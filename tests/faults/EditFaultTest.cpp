#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "mp4/Container.h"
#include "tests/faults/Faults.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/Files.h"
#include "tests/kit/Movies.h"
#include "tests/kit/Program.h"

/// Whatever fails in an edit, and wherever the process ends: the movie is the old or the new one.
using namespace kit;

namespace {

namespace fs = std::filesystem;
using faults::How;

/// More media than a copy does without the system's fast path, and boxes that a parse which went
/// wrong would leave behind.
std::string pattern(std::size_t length) {
    std::string bytes(length, '\0');
    for (std::size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<char>(i % 251);
    return bytes;
}

std::string builtMovie() {
    return mdatFirst(pattern(150000)) + box("free", pattern(5000)) +
           uuidBox(MP4::sphericalVideoType, pattern(300));
}

/// A movie whose baseline flag is set in place, or by a rewrite that moves all media.
template <bool inPlace>
std::string unflaggedMovie() {
    const TempFolder folder;
    const std::wstring path = folder.write(
        "m.mp4", clip("ahead.mp4", {"-c:v", "libx264", "-profile:v", "baseline", "-pix_fmt",
                                    "yuv420p", "-c:a", "aac", "-movflags", "+faststart"}));
    MP4::Container movie;
    movie.attach(path, MP4::Container::wholeFile);
    return unsetBaselineFlag(movie, inPlace) ? readFile(path) : "";
}

struct Operation {
    const char* name;
    bool inPlace;
    std::function<bool(MP4::Container&)> run;
    const char* target = "m.mp4";
    std::string (*movie)() = builtMovie;

    friend void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }
};

bool insertBehind(MP4::Container& movie, const char* anchor, bool replace) {
    const MP4::BOX* box = movie.first(anchor);
    return box != nullptr && insertInto(movie, *box, replace, kit::box("skip", pattern(70000)));
}

const Operation operations[] = {
    {"moovFirst", false, [](auto& movie) { return movie.moovFirst(); }},
    {"insertBox", false, [](auto& movie) { return insertBehind(movie, "ftyp", false); }},
    {"insertBox in place", false, [](auto& movie) { return insertBehind(movie, "free", true); }},
    {"insertBox to an output path", false,
     [](auto& movie) {
         movie.outputPath = movie.path.substr(0, movie.path.rfind(L'/')) + L"/out.mp4";
         return insertBehind(movie, "moov.udta", true);
     },
     "out.mp4"},
    {"appendXMP", true, [](auto& movie) { return movie.appendXMP(pattern(9000)); }},
    {"appendAxis", true, [](auto& movie) { return movie.appendAxis(pattern(90)); }},
    {"updateTimeStamp", true, [](auto& movie) { return movie.updateTimeStamp(0x12345678); }},
    {"flag in place", true,
     [](auto& movie) { return movie.appendFullRangeAndConstrainedSet1Flag(true); }, "m.mp4",
     unflaggedMovie<true>},
    {"flag by a rewrite", false,
     [](auto& movie) { return movie.appendFullRangeAndConstrainedSet1Flag(false); }, "m.mp4",
     unflaggedMovie<false>},
};

/// A folder with the movie and the file at the output path.
struct Scene {
    explicit Scene(const Operation& operation) : operation(operation), before(operation.movie()) {
        reset();
        captureOutput([&] { EXPECT_TRUE(run()); });
        after = target();
        EXPECT_NE(after, before);
        EXPECT_EQ(files(), 2);
    }
    void reset() const {
        for (const auto& entry : fs::directory_iterator(folder.path()))
            fs::remove(entry);
        folder.write("m.mp4", before);
        folder.write("out.mp4", before);
    }
    bool run() const {
        MP4::Container movie;
        return movie.attach(folder.wide("m.mp4"), MP4::Container::wholeFile) &&
               operation.run(movie);
    }
    std::string target() const { return readFile(folder.path() / operation.target); }
    long files() const {
        return std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator());
    }

    /// The state after a run that claims this outcome.
    void expectWhole(bool done, const faults::Record& record) const {
        const std::string now = target();
        if (done) {
            EXPECT_TRUE(now == after);
        } else if (!operation.inPlace) {
            EXPECT_TRUE(now == before);
        } else {
            expectEitherByte(now);
            EXPECT_TRUE(now.size() == before.size() || record.truncateFailed);
        }
        expectOthers();
        EXPECT_TRUE(files() == 2 || record.unlinkFailed);
    }
    /// The state after the process ended, and that the next edit is not in its way.
    void expectRecoverable() const {
        const std::string now = target();
        if (operation.inPlace) return expectEitherByte(now);
        EXPECT_TRUE(now == before || now == after);
        expectOthers();
        EXPECT_TRUE(now == after || run());
        EXPECT_TRUE(target() == after);
        EXPECT_EQ(files(), 2);
    }

    const Operation& operation;
    const std::string before;
    TempFolder folder;
    std::string after;

  private:
    /// An edit in place writes its own bytes and leaves all others.
    void expectEitherByte(const std::string& now) const {
        ASSERT_GE(now.size(), before.size());
        ASSERT_LE(now.size(), after.size());
        std::size_t same = 0;
        while (same < now.size() &&
               (now[same] == after[same] || (same < before.size() && now[same] == before[same]))) {
            ++same;
        }
        EXPECT_EQ(same, now.size());
    }
    void expectOthers() const {
        for (const char* name : {"m.mp4", "out.mp4"}) {
            if (std::string(name) == operation.target) continue;
            EXPECT_TRUE(readFile(folder.path() / name) == before);
        }
    }
};

/// Runs `action` in a process of its own; its wait status.
template <class Action>
int inChild(Action action) {
    const pid_t child = ::fork();
    if (child == 0) {
        const bool done = action();
        ::_exit(done ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

class EditFault : public testing::TestWithParam<Operation> {
    void SetUp() override {
        const bool made = GetParam().movie != builtMovie;
        if (made && !haveFfmpeg()) GTEST_SKIP() << "the ffmpeg program makes the movie";
    }
};

}  // namespace

TEST_P(EditFault, LeavesTheOldOrTheNewMovie) {
    const Scene scene(GetParam());
    long injected = 0;
    for (const How how : {How::errorOnce, How::errorThrice, How::errorForEver, How::shortOnce,
                          How::shortForEver, How::diskFull}) {
        bool reached = true;
        for (long at = 1; reached && !HasFailure(); ++at) {
            SCOPED_TRACE("fault " + std::to_string(static_cast<int>(how)) + " at call " +
                         std::to_string(at));
            scene.reset();
            bool done = false;
            faults::Record record;
            captureOutput([&] {
                faults::arm(how, at);
                done = scene.run();
                record = faults::disarm();
            });
            reached = record.calls >= at;
            injected += record.faults > 0;
            scene.expectWhole(done, record);
            // Short transfers are no failures, and neither is the end of the fast path.
            EXPECT_TRUE(done || record.faults > 0);
            EXPECT_TRUE(done || (how != How::shortOnce && how != How::shortForEver));
        }
    }
    std::printf("%s: %ld faults\n", GetParam().name, injected);
}

TEST_P(EditFault, SurvivesTheEndOfTheProcess) {
    const Scene scene(GetParam());
    int status = 0;
    long at = 0;
    do {
        SCOPED_TRACE("killed at call " + std::to_string(++at));
        scene.reset();
        captureOutput([&] {
            status = inChild([&] {
                faults::arm(How::kill, at);
                return scene.run();
            });
        });
        scene.expectRecoverable();
    } while (WIFSIGNALED(status) && !HasFailure());
    EXPECT_EQ(status, 0);
    std::printf("%s: killed at %ld calls\n", GetParam().name, at - 1);
}

TEST_P(EditFault, StandsALimitOfTheFileSize) {
    const Scene scene(GetParam());
    for (const rlim_t most : {rlim_t{0}, rlim_t{100}, rlim_t{70000},
                              rlim_t{scene.before.size() - 1}, rlim_t{scene.before.size() + 50}}) {
        SCOPED_TRACE(most);
        scene.reset();
        int status = 0;
        captureOutput([&] {
            status = inChild([&] {
                ::signal(SIGXFSZ, SIG_IGN);
                const rlimit limit = {most, most};
                ::setrlimit(RLIMIT_FSIZE, &limit);
                ::close(STDERR_FILENO);
                return scene.run();
            });
        });
        ASSERT_TRUE(WIFEXITED(status));
        scene.expectWhole(WEXITSTATUS(status) == 0, {});
    }
}

INSTANTIATE_TEST_SUITE_P(All, EditFault, testing::ValuesIn(operations), [](const auto& info) {
    std::string name = info.param.name;
    std::ranges::replace(name, ' ', '_');
    return name;
});
