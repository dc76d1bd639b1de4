#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/kit/Movies.h"
#include "tests/kit/Program.h"

using namespace kit;

namespace {

/// A movie whose flag -set1 sets by a rewrite.
struct Unflagged : OpenedMovie {
    explicit Unflagged(std::size_t surplus = 0) : OpenedMovie(plainClip()) {
        unsetBaselineFlag(movie, false);
        EXPECT_TRUE(movie.appendXMP(std::string(surplus, 'x')));
        before = bytes();
    }
    /// The shell runs `words` with the program and the movie as $0 and $1.
    Outcome shell(const std::string& words) const {
        return run({"sh", "-c", words, sondexProgram(), name});
    }

    std::string before;
};

}  // namespace

TEST(HarshStart, ClosedStreamsLeadNowhere) {
    if (!haveFfmpeg()) GTEST_SKIP() << "the ffmpeg program makes the movies";
    const char* closings[] = {"", " <&-", " >&-", " 2>&-"};
    std::string flagged;
    for (int closed = 0; closed < 8; ++closed) {
        std::string words;
        for (int stream = 0; stream < 3; ++stream)
            words += (closed >> stream & 1) != 0 ? closings[stream + 1] : "";
        SCOPED_TRACE(words);
        const Unflagged movie;
        // A refusal says why, which once went into the movie.
        const int held = ::open(movie.name.c_str(), O_RDONLY);
        ASSERT_EQ(::flock(held, LOCK_EX), 0);
        movie.shell("\"$0\" -set1 \"$1\"" + words);
        EXPECT_EQ(movie.bytes(), movie.before);
        ::close(held);
        movie.shell("\"$0\" -set1 \"$1\"" + words);
        const std::string after = movie.bytes();
        if (closed == 0) flagged = after;
        EXPECT_TRUE(after == flagged && after != movie.before);
        // Line mode answers where there is somebody to ask and to answer.
        const Outcome lines = movie.shell("echo \"$1\" | \"$0\" " + words);
        EXPECT_EQ(resultLine(lines.out).empty(), (closed & 3) != 0) << lines.out;
        EXPECT_EQ(movie.bytes(), after);
    }
}

TEST(HarshStart, ALimitOnFileSizesFailsTheEditAlone) {
    if (!haveFfmpeg()) GTEST_SKIP() << "the ffmpeg program makes the movies";
    const Unflagged movie(300000);
    const Outcome limited = movie.shell("ulimit -f 200; exec \"$0\" -set1 \"$1\"");
    EXPECT_EQ(limited.status, 0) << limited.err;
    EXPECT_NE(limited.out.find(".tmp.mp4) failed.\n"), std::string::npos) << limited.out;
    EXPECT_FALSE(resultLine(limited.out).empty());
    EXPECT_EQ(movie.bytes(), movie.before);
}
