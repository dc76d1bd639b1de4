#include <gtest/gtest.h>

#include <filesystem>

#include "mp4/MetadataBoxes.h"
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
    const bool served = movie.servesMoovFirst();
    return movie.moovFirst() == served && movie.moov->start < movie.mdat->start;
}

const std::pair<const char*, std::function<bool(Container&)>> operations[] = {
    {"moovFirst", moovFirst},
    {"a box in a track",
     [](auto& movie) { return insertInto(movie, *movie.videoTrack->first("tkhd"), false, added); }},
    {"a box at top level",
     [](auto& movie) { return insertInto(movie, *movie.first("ftyp"), false, added); }},
    {"a box in place of another",
     [](auto& movie) { return insertInto(movie, *movie.first("moov.udta"), true, added); }},
    {"appendXMP", [](auto& movie) { return movie.appendXMP("<x:xmpmeta/>"); }},
    {"updateTimeStamp", [](auto& movie) { return movie.updateTimeStamp(3800000000); }},
};

/// A program of docs/editing.md, its words, and how the movie shows that it ran.
struct Example {
    std::string name;
    std::vector<std::string> words;
    std::function<bool(const std::string&)> changed;
};

auto holds(const std::string& bytes) {
    return [=](const std::string& movie) { return movie.find(bytes) != std::string::npos; };
}

std::string fieldOf(const std::string& movie, const char* code, std::size_t at, std::size_t size) {
    return movie.substr(movie.find(code) + 4 + at, size);
}

const std::string place = "+35.6895+139.6917/";
const Example examples[] = {
    {"startFast", {}, [](auto& movie) { return movie.find("moov") < movie.find("mdat"); }},
    {"setTime", {}, [](auto& movie) { return fieldOf(movie, "tkhd", 4, 4) > u32(3800000000); }},
    {"addXmp", {place}, holds("<exif:GPSLatitude>35,41.3")},
    {"addTilt", {}, holds(uuidBox(MP4::AXIS::_UUID).substr(4))},
    {"addLocation", {place}, holds("\xA9xyz" + u16(place.size()) + u16(0x15C7) + place)},
    {"withoutUserData", {"out.mp4"}, [](auto& movie) { return !holds("udta")(movie); }},
    {"setStabilization", {"9"}, holds(u16(0x1014) + u16(3) + u32(1) + u16(9))},
    {"setFlag", {}, [](auto& movie) { return (fieldOf(movie, "avcC", 2, 1)[0] & 0x40) != 0; }},
    {"dropLastFree", {}, [](auto& movie) { return !movie.ends_with(zeros(20)); }},
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

TEST(Examples, EachEditsAMovieAndStandsOnThePage) {
    if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not there";
    const fs::path sources = SONDEX_SOURCES;
    const std::string page = readFile(sources / "docs/editing.md");
    for (const auto& [name, given, changed] : examples) {
        const TempFolder folder;
        const auto path = [&](const char* file) { return (folder.path() / file).string(); };
        Container made;
        made.attach(
            folder.write("m.mp4", (name == "setStabilization" ? cameraMovie() : plainClip()) +
                                      box("free", zeros(20))),
            Container::wholeFile);
        ASSERT_TRUE(unsetBaselineFlag(made, false));
        std::vector<std::string> words = {SONDEX_EXAMPLES "/" + name, path("m.mp4")};
        for (const std::string& word : given)
            words.push_back(word == "out.mp4" ? path("out.mp4") : word);
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 0) << name << ": " << outcome.out << outcome.err;
        const bool elsewhere = fs::exists(path("out.mp4"));
        EXPECT_TRUE(changed(readFile(folder.wide(elsewhere ? "out.mp4" : "m.mp4")))) << name;
        const std::string block =
            "```cpp\n" + readFile(sources / "examples/edit" / (name + ".cpp"));
        EXPECT_NE(page.find(block + "```\n"), std::string::npos) << name;
    }
    const fs::directory_iterator files(sources / "examples/edit");
    EXPECT_EQ(std::distance(begin(files), end(files)), std::ssize(examples));
}
