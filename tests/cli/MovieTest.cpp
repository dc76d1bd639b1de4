#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/kit/Files.h"
#include "tests/kit/Program.h"

using namespace kit;

namespace {

class Movie : public testing::Test {
  protected:
    void SetUp() override {
        if (!haveFfmpeg()) GTEST_SKIP() << "the ffmpeg program makes the movies";
    }

    std::string write(const std::string& name, const std::string& bytes) const {
        folder.write(name, bytes);
        return (folder.path() / name).string();
    }

    TempFolder folder;
};

const std::string failed = "result: {\"status\":\"failed\"}\n";

}  // namespace

TEST_F(Movie, ACameraMovieGetsItsWholeOutput) {
    const std::string path = write("camera.mp4", cameraMovie());
    const Outcome outcome = runSondex({path, "-dump"});
    const std::string rate = member(resultLine(outcome.out), "videoBitRate");
    const Outcome shown = run({"ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
                               "stream=bit_rate", "-of", "csv=p=0", path});
    EXPECT_NEAR(std::stod(rate), std::stod(shown.out), 2000);
    const std::string lines =
        "source movie model: KESTO ZELVA Q7 (30001)\n"
        "source movie panoramaImageType: 1\n"
        "H.264 detected.\n"
        "rev-up/down: [P]0.000000, [N]:4204861.000000 -> N\n"
        "rev-front:   [F]59.571133 -> N\n"
        "result: {\"status\":\"succeed\", \"hasKDTD\":true, \"type\":\"equi\", \"codec\":\"H264\", "
        "\"decodable\":true, \"hasSpatialSound\":false, \"hasSA3DSound\":false, "
        "\"duration\":2.00, \"videoBitRate\":" +
        rate +
        ", \"model\":\"KESTO ZELVA Q7\", \"software\":\"KESTO ZELVA Q7 Ver 2.10.3\", "
        "\"cpuVersion\":\"1.42.0007\", \"cameraSerial\":\"00104711\", "
        "\"gps\":\"+35.6895+139.6917+40.0/\", \"frameWidth\":320, \"frameHeight\":160, "
        "\"GSpherical:InitialViewHeadingDegrees\":90, \"GSpherical:InitialViewPitchDegrees\":0, "
        "\"GSpherical:InitialHorizontalFOVDegrees\":75, "
        "\"GSpherical:StitchingSoftware\":\"KESTO ZELVA Q7 Ver 2.10.3\", "
        "\"creatorTool\":\"KESTO ZELVA Q7\", \"topBottomCorrection\":true, "
        "\"dxvaDecodable\":true, \"directionLocked\":false, \"videoStabilization\":4, "
        "\"KDTDSamplingRate\":30, \"KDTBSamplingRate\":200, \"KDTCSamplingRate\":100, "
        "\"videoQuality\":\"fine\"}\n"
        "\nIFD0 (3)\n";
    EXPECT_EQ(outcome.out.substr(0, lines.size()), lines);
    // Behind the record stand the two texts.
    const std::string tail = "</rdf:SphericalVideo>\n<?xpacket begin='\xEF\xBB\xBF'";
    EXPECT_NE(outcome.out.find(tail), std::string::npos);
    EXPECT_TRUE(outcome.out.ends_with("<?xpacket end='w'?>\n\n"));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(Movie, WithoutTheCamerasBoxesOnlyTheFixedFieldsAndTheFrameRemain) {
    const Outcome outcome = runSondex({write("plain.mp4", plainClip()), "-dump"});
    const std::string rate = member(resultLine(outcome.out), "videoBitRate");
    EXPECT_EQ(outcome.out,
              "KMKN not found.\nH.264 detected.\n"
              "KDTD: No KDTG entries.\nKDTD: No KDTG entries.\n"
              "KDTC/KDTD is not enough size.\n  KDTC:   0\n  KDTD/G: 0\n"
              "result: {\"status\":\"succeed\", \"hasKDTD\":false, \"type\":\"equi\", "
              "\"codec\":\"H264\", \"decodable\":true, \"hasSpatialSound\":false, "
              "\"hasSA3DSound\":false, \"duration\":2.00, \"videoBitRate\":" +
                  rate +
                  ", \"frameWidth\":320, \"frameHeight\":160, \"dxvaDecodable\":true}\n\n\n");
}

TEST_F(Movie, Set1SaysWhyTheFlagIsNotSet) {
    const auto lines = [&](const std::string& path) {
        const std::string out = runSondex({"-set1", path}).out;
        const std::size_t start = out.find("  KDTD/G: 0\n") + 12;
        return out.substr(start, out.find("result: ") - start);
    };
    const auto encoded = [](const std::string& profile) {
        return clip(profile + ".mp4", {"-t", "0.2", "-c:v", "libx264", "-profile:v", profile,
                                       "-pix_fmt", "yuv420p", "-an"});
    };
    const std::string path = write("m.mp4", encoded("main"));
    EXPECT_EQ(lines(path), "constrained_set1_flag = 1, not 0.\nprofile_idc = 77, not 66.\n");
    EXPECT_EQ(readFile(std::filesystem::path(path)), encoded("main"));
    EXPECT_EQ(lines(write("h.mp4", encoded("high"))), "profile_idc = 100, not 66.\n");
}

TEST_F(Movie, EveryTruncationOfTheBoxesEndsAtOnce) {
    const std::string bytes =
        clip("front.mp4", {"-t", "0.2", "-c:v", "libx264", "-movflags", "faststart"});
    const std::size_t boxes = bytes.find("mdat");
    ASSERT_NE(boxes, std::string::npos);
    std::string jobs;
    std::size_t unanswered = 0;
    for (std::size_t n = 0; n < boxes; n += n < 256 ? 1 : 7) {
        jobs += write(std::to_string(n), bytes.substr(0, n)) + "\n";
        ++unanswered;
    }
    const Outcome outcome = runSondex({}, jobs);
    EXPECT_EQ(outcome.status, 0);
    for (std::size_t at = 0; (at = outcome.out.find(failed, at)) != std::string::npos; ++at)
        --unanswered;
    EXPECT_EQ(unanswered, 0U);
}

TEST_F(Movie, DumpsGoToTheirOwnFiles) {
    const std::string path = write("camera.mp4", cameraMovie());
    const auto file = [&](const char* name) { return (folder.path() / name).string(); };
    runSondex({"-kdtd:" + file("t"), "-kdtb:" + file("g"), "-kdtc:" + file("c"), path});
    const auto lines = [&](const char* name, const char* members) {
        const std::string text = readFile(folder.path() / name);
        EXPECT_NE(text.find(members), std::string::npos) << text.substr(0, 100);
        return std::count(text.begin(), text.end(), '\n');
    };
    EXPECT_EQ(lines("t", ",\"yaw\":"), 60);
    EXPECT_GT(lines("g", "{\"x\":"), 2 * lines("c", "{\"x\":") - 10);
    // The columns of a job line ask for the same; a dump that cannot be made, also because it is
    // the movie, ends the file.
    const Outcome columns = runSondex(
        {}, path + "\t" + file("t2") + "\n" + path + "\t/none/x\n" + path + "\t" + path + "\n");
    EXPECT_EQ(readFile(folder.path() / "t2"), readFile(folder.path() / "t"));
    EXPECT_NE(columns.out.find("open(/none/x, 'w') failed.\n" + failed), std::string::npos);
    EXPECT_TRUE(columns.out.ends_with(failed));
    EXPECT_EQ(readFile(std::filesystem::path(path)), cameraMovie());
    const Outcome nowhere = runSondex({"-kdtd:", path});
    EXPECT_NE(nowhere.out.find("open(, 'w') failed.\n\nSondex 2.8"), std::string::npos);
    EXPECT_EQ(nowhere.status, 1);
}
