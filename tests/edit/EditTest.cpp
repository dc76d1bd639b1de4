#include <gtest/gtest.h>

#include <filesystem>

#include "tests/kit/BoxBuilder.h"
#include "tests/kit/Files.h"
#include "tests/kit/Movies.h"
#include "tests/kit/Program.h"

using namespace kit;

namespace {

namespace fs = std::filesystem;
using MP4::Container;

const std::string added = box("free", zeros(70001));

bool moovFirst(Container& movie) {
    // In the right order already, it has nothing to do.
    const bool serves = !movie.startsFast();
    return movie.moovFirst() == serves && movie.startsFast();
}

const std::pair<const char*, std::function<bool(Container&)>> operations[] = {
    {"moovFirst", moovFirst},
    {"a box in a track",
     [](auto& movie) { return insertInto(movie, *movie.videoTrack->first("tkhd"), false, added); }},
    {"a box at top level",
     [](auto& movie) { return insertInto(movie, *movie.first("ftyp"), false, added); }},
    {"a box in place of another",
     [](auto& movie) { return insertInto(movie, *movie.first("moov.udta"), true, added); }},
    {"a movie box that moves, again and again, and to the front",
     [](auto& movie) {
         const bool last = movie.mdat->start < movie.moov->start;
         for (int i = 0; i < 4; ++i) {
             const auto road = last ? MP4::Road::movieRoom : MP4::Road::cheapest;
             const std::string more = box("free", zeros(i % 2 == 0 ? 900 : 90));
             if (!insertInto(movie, *movie.first("moov.udta"), true, box("udta", more), road)) {
                 return false;
             }
         }
         return moovFirst(movie);
     }},
    {"appendXMP", [](auto& movie) { return movie.appendXMP("<x:xmpmeta/>"); }},
    {"updateTimeStamp", [](auto& movie) { return movie.updateTimeStamp(3800000000); }},
};

}  // namespace

/// On movies of another program: that program decodes the same frames before and after.
TEST(Edit, KeepsEveryFrameOfEveryTrack) {
    if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not there";
    const std::pair<std::string, std::vector<std::string>> makes[] = {
        {"h264.mp4", {"-c:v", "libx264"}},
        {"hevc.mp4", {"-c:v", "libx265", "-x265-params", "log-level=error", "-tag:v", "hvc1"}},
        {"h264.mov", {"-c:v", "libx264", "-movflags", "+faststart", "-write_tmcd", "0"}},
    };
    for (const auto& [name, encoding] : makes) {
        std::vector<std::string> options = {"-map", "0:v", "-map", "1:a", "-map",     "1:a",
                                            "-c:a", "aac", "-t",   "1",   "-pix_fmt", "yuv420p"};
        options.insert(options.end(), encoding.begin(), encoding.end());
        std::string before;
        for (const auto& [operation, run] : operations) {
            SCOPED_TRACE(name + ", " + operation);
            const TempFolder folder;
            const std::wstring path = folder.write("m.mp4", clip(name, options));
            Container movie;
            ASSERT_TRUE(movie.attach(path, Container::wholeFile));
            if (before.empty()) before = frames(path);
            ASSERT_EQ(before.find("rror"), std::string::npos) << before;
            EXPECT_TRUE(run(movie));
            EXPECT_EQ(frames(path), before);
        }
    }
}

/// The programs of docs/editing.md, with their words behind the movie.
TEST(Examples, EachEditsAMovieAndStandsOnThePage) {
    if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not there";
    const TempFolder folder;
    const auto path = [&](const char* file) { return (folder.path() / file).string(); };
    const std::pair<std::string, std::string> examples[] = {
        {"describe", ""},
        {"withoutUserData", path("out.mp4")},
        {"dropLastFree", ""},
    };
    const fs::path sources = SONDEX_SOURCES;
    const std::string page = readFile(sources / "docs/editing.md");
    for (const auto& [name, word] : examples) {
        const std::wstring file = folder.write("m.mp4", plainClip() + box("free", zeros(20)));
        const std::string before = readFile(file);
        folder.write("out.mp4", before);
        std::vector<std::string> words = {SONDEX_EXAMPLES "/" + name, path("m.mp4")};
        if (!word.empty()) words.push_back(word);
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 0) << name << ": " << outcome.out << outcome.err;
        const bool elsewhere = word == path("out.mp4");
        EXPECT_EQ(readFile(file) == before, elsewhere) << name;
        EXPECT_EQ(readFile(folder.wide("out.mp4")) == before, !elsewhere) << name;
        const std::string block =
            "```cpp\n" + readFile(sources / "examples/edit" / (name + ".cpp"));
        EXPECT_NE(page.find(block + "```\n"), std::string::npos) << name;
    }
    const fs::directory_iterator files(sources / "examples/edit");
    EXPECT_EQ(std::distance(begin(files), end(files)), std::ssize(examples));
}
