#include <gtest/gtest.h>

#include <algorithm>

#include "tests/kit/Files.h"
#include "tests/kit/Program.h"

using namespace kit;

namespace {

class Movie : public testing::Test {
  protected:
    void SetUp() override {
        if (!haveFfmpeg()) GTEST_SKIP() << "the ffmpeg program makes the movies";
    }
    std::string path(const std::string& name) const { return (folder.path() / name).string(); }
    std::string write(const std::string& name, const std::string& bytes) const {
        folder.write(name, bytes);
        return path(name);
    }

    TempFolder folder;
};

}  // namespace

TEST_F(Movie, ACameraMovieGetsItsWholeOutput) {
    const std::string movie = write("camera.mp4", cameraMovie());
    const Outcome outcome = runSondex({movie, "-dump"});
    const std::string rate = member(resultLine(outcome.out), "videoBitRate");
    const Outcome shown = run({"ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
                               "stream=bit_rate", "-of", "csv=p=0", movie});
    EXPECT_NEAR(std::stod(rate), std::stod(shown.out), 2000);
    const std::string ahead =
        "source movie model: KESTO ZELVA Q7 (30001)\n"
        "source movie panoramaImageType: 1\n"
        "H.264 detected.\n"
        "rev-up/down: [P]0.000000, [N]:4204861.000000 -> N\n"
        "rev-front:   [F]59.571133 -> N\n";
    EXPECT_TRUE(outcome.out.starts_with(ahead + resultLine(outcome.out) + "\n\nIFD0 (3)\n"))
        << outcome.out;
    // Behind the record stand the two texts.
    const std::string tail = "</rdf:SphericalVideo>\n<?xpacket begin='\xEF\xBB\xBF'";
    EXPECT_NE(outcome.out.find(tail), std::string::npos);
    EXPECT_TRUE(outcome.out.ends_with("<?xpacket end='w'?>\n\n"));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(Movie, DumpsGoToTheirOwnFiles) {
    const std::string movie = write("camera.mp4", cameraMovie());
    runSondex({"-kdtd:" + path("t"), "-kdtb:" + path("g"), "-kdtc:" + path("c"), movie});
    const auto lines = [&](const char* name, const char* members) {
        const std::string text = readFile(folder.path() / name);
        EXPECT_NE(text.find(members), std::string::npos) << text.substr(0, 100);
        return std::count(text.begin(), text.end(), '\n');
    };
    EXPECT_EQ(lines("t", ",\"yaw\":"), 60);
    EXPECT_GT(lines("g", "{\"x\":"), 2 * lines("c", "{\"x\":") - 10);
    // The columns of a job line ask for the same; a dump that cannot be made, also because it is
    // the movie, ends the file.
    const std::string failed = "result: {\"status\":\"failed\"}\n";
    const std::string out = runSondex({}, movie + "\t\t" + path("t2") + "\t" + path("g2") + "\n" +
                                              movie + "\t/none/x\n" + movie + "\t" + movie + "\n")
                                .out;
    EXPECT_EQ(readFile(folder.path() / "t2"), readFile(folder.path() / "t"));
    EXPECT_EQ(readFile(folder.path() / "g2"), readFile(folder.path() / "g"));
    EXPECT_NE(out.find("open(/none/x, 'w') failed.\n" + failed), std::string::npos);
    EXPECT_TRUE(out.ends_with(failed));
    EXPECT_EQ(readFile(folder.path() / "camera.mp4"), cameraMovie());
    const Outcome nowhere = runSondex({"-kdtd:", movie});
    EXPECT_NE(nowhere.out.find("open(, 'w') failed.\n\nSondex 2.8"), std::string::npos);
    EXPECT_EQ(nowhere.err, "Sondex:  cannot be written: No such file or directory\n");
    EXPECT_EQ(nowhere.status, 1);
}
