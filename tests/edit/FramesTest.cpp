#include <gtest/gtest.h>

#include "mp4/Container.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/Files.h"
#include "tests/kit/Movies.h"
#include "tests/kit/Program.h"

/// Every edit, on movies of another program: that program decodes the same frames before and after.
using namespace kit;

namespace {

constexpr auto whole = MP4::Container::wholeFile;

bool moovFirst(MP4::Container& movie) {
    const bool served = movie.servesMoovFirst();
    EXPECT_NE(served, movie.moov->start < movie.mdat->start);
    // In the right order already, it has nothing to do.
    return movie.moovFirst() == served;
}

struct Operation {
    const char* name;
    std::function<bool(MP4::Container&)> run;
};

const std::string added = box("free", zeros(70001));

Operation inserting(const char* name, const char* anchor, bool replace) {
    return {name, [=](MP4::Container& movie) {
                return insertInto(movie, *movie.first(anchor), replace, added);
            }};
}

const Operation operations[] = {
    {"moovFirst", moovFirst},
    {"into the video track",
     [](MP4::Container& movie) {
         return insertInto(movie, *movie.videoTrack->first("tkhd"), false, added);
     }},
    {"into the user data",
     [](MP4::Container& movie) {
         const auto* userData = movie.first<MP4::NestedBox>("moov.udta");
         return insertInto(movie, *userData->children[0], false, added);
     }},
    inserting("at top level", "ftyp", false),
    inserting("behind the movie box", "moov", false),
    inserting("in place of a box", "moov.udta", true),
    {"appendXMP", [](MP4::Container& movie) { return movie.appendXMP("<x:xmpmeta/>"); }},
    {"appendAxis", [](MP4::Container& movie) { return movie.appendAxis(zeros(32)); }},
    {"updateTimeStamp", [](MP4::Container& movie) { return movie.updateTimeStamp(3800000000); }},
};

struct Make {
    const char* name;
    std::vector<std::string> options;
    bool wide = false;
};

const Make makes[] = {
    {"h264.mp4", {"-c:v", "libx264"}},
    {"h264-wide.mp4", {"-c:v", "libx264"}, true},
    {"h264-ahead.mp4", {"-c:v", "libx264", "-movflags", "+faststart"}},
    {"h264-ahead-wide.mp4", {"-c:v", "libx264", "-movflags", "+faststart"}, true},
    {"hevc.mp4", {"-c:v", "libx265", "-x265-params", "log-level=error", "-tag:v", "hvc1"}},
    {"h264.mov", {"-c:v", "libx264", "-write_tmcd", "0"}},
};

}  // namespace

TEST(Edit, KeepsEveryFrameOfEveryTrack) {
    if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not there";
    for (const Make& make : makes) {
        std::vector<std::string> options = {"-map", "0:v", "-map", "1:a", "-map",     "1:a",
                                            "-c:a", "aac", "-t",   "1",   "-pix_fmt", "yuv420p"};
        options.insert(options.end(), make.options.begin(), make.options.end());
        const std::string& bytes = clip(make.name, options);
        ASSERT_FALSE(bytes.empty()) << make.name;
        std::string before;
        for (const Operation& operation : operations) {
            SCOPED_TRACE(std::string(make.name) + ", " + operation.name);
            const TempFolder folder;
            const std::wstring path = folder.write("m.mp4", bytes);
            MP4::Container movie;
            ASSERT_TRUE(movie.attach(path, whole));
            if (before.empty()) before = frames(path);
            ASSERT_EQ(before.find("rror"), std::string::npos) << before;
            ASSERT_TRUE(!make.wide || widenOffsets(movie));
            EXPECT_TRUE(operation.run(movie));
            EXPECT_EQ(frames(path), before);
        }
    }
}
