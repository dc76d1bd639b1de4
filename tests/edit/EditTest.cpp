#include <gtest/gtest.h>

#include "mp4/MetadataEdit.h"
#include "mp4/SampleTableBoxes.h"
#include "sondex/sondex.h"
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

/// Again and again behind the last box and into the room of the one before, and to the front.
bool moveMovieBox(Container& movie) {
    const auto road =
        movie.mdat->start < movie.moov->start ? MP4::Road::movieRoom : MP4::Road::cheapest;
    for (const std::size_t room : {900U, 90U, 900U, 90U}) {
        const std::string more = box("udta", box("free", zeros(room)));
        if (!insertInto(movie, *movie.first("moov.udta"), true, more, road)) return false;
    }
    return moovFirst(movie);
}

// clang-format off
const std::pair<const char*, std::function<bool(Container&)>> operations[] = {
    {"moovFirst", moovFirst},
    {"a box in a track", [](auto& movie) { return insertInto(movie, *movie.videoTrack->first("tkhd"), false, added); }},
    {"a box at top level", [](auto& movie) { return insertInto(movie, *movie.first("ftyp"), false, added); }},
    {"a box in place of another", [](auto& movie) { return insertInto(movie, *movie.first("moov.udta"), true, added); }},
    {"a movie box that moves", moveMovieBox},
    {"appendXMP", [](auto& movie) { return movie.appendXMP("<x:xmpmeta/>"); }},
    {"updateTimeStamp", [](auto& movie) { return movie.updateTimeStamp(3800000000); }},
};
// clang-format on

/// The clip with 64-bit sizes of movie box and media data, and 64-bit chunk offsets. The spare box
/// ahead of the media data makes room for its header, so that nothing moves.
std::string inLongForms(std::string clip) {
    const std::size_t free = clip.find("free") - 4, moov = clip.rfind("moov") - 4;
    clip.replace(free, 16, u32(1) + "mdat" + u64(moov - free));
    clip = clip.substr(0, moov) + largeBox("moov", clip.substr(moov + 8));
    OpenedMovie opened(clip);
    Container& movie = opened.movie;
    while (const auto* table = movie.first<MP4::STCO>("moov.trak.mdia.minf.stbl.stco")) {
        const std::string file = opened.bytes();
        std::string entries = u32(table->entryCount);
        for (std::uint32_t i = 0; i < table->entryCount; ++i) {
            entries += u32(0) + file.substr(table->entriesOffset + 4 * std::uint64_t{i}, 4);
        }
        if (!insertInto(movie, *table, true, fullBox("co64", 0, entries))) return "";
    }
    return opened.bytes();
}

}  // namespace

/// On movies of another program: that program decodes the same frames before and after.
TEST(Edit, KeepsEveryFrameOfEveryTrack) {
    if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not there";
    const struct {
        std::string name;
        std::vector<std::string> encoding;
        std::string (*form)(std::string) = [](std::string clip) { return clip; };
    } makes[] = {
        {"h264.mp4", {"-c:v", "libx264"}},
        {"long.mp4", {"-c:v", "libx264"}, inLongForms},
        {"hevc.mp4", {"-c:v", "libx265", "-x265-params", "log-level=error", "-tag:v", "hvc1"}},
        {"h264.mov", {"-c:v", "libx264", "-movflags", "+faststart", "-write_tmcd", "0"}},
    };
    for (const auto& [name, encoding, form] : makes) {
        std::vector<std::string> options = {"-map", "0:v", "-map", "1:a", "-map",     "1:a",
                                            "-c:a", "aac", "-t",   "1",   "-pix_fmt", "yuv420p"};
        options.insert(options.end(), encoding.begin(), encoding.end());
        std::string before;
        for (const auto& [operation, run] : operations) {
            SCOPED_TRACE(name + ", " + operation);
            OpenedMovie opened(form(clip(name, options)));
            if (before.empty()) before = frames(opened.path);
            ASSERT_EQ(before.find("rror"), std::string::npos) << before;
            EXPECT_TRUE(run(opened.movie));
            EXPECT_EQ(frames(opened.path), before);
        }
    }
}

/// Between the two flushes of an edit a file has two movie boxes: the old movie is what is seen,
/// and edited.
TEST(Edit, OfTwoMovieBoxesTheFirstCounts) {
    if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not there";
    OpenedMovie opened(plainClip());
    const std::wstring& path = opened.path;
    const std::string& name = opened.name;
    Container& movie = opened.movie;
    const auto shown = [&] {
        return std::vector{run({"ffprobe", "-v", "error", "-show_entries",
                                "format_tags:stream=index,nb_frames", name})
                               .out,
                           resultLine(runSondex({name}).out), frames(path)};
    };
    ASSERT_TRUE(
        insertInto(movie, *movie.first("moov.udta"), false, box("udta", box("@xyz", "+1/"))));
    const auto before = shown();
    const std::uint64_t old = movie.moov->start;
    const std::string longer =
        box("udta", box("@xyz", "+35.6895+139.6917/") + box("free", zeros(200)));
    ASSERT_TRUE(insertInto(movie, *movie.first("moov.udta"), true, longer, MP4::Road::movieRoom));
    const auto after = shown();
    EXPECT_TRUE(after[0] != before[0] && after[1] != before[1] && after[2] == before[2]);
    std::string both = readFile(path);
    opened.folder.write("m.mp4", both.replace(old + 4, 4, "moov"));
    EXPECT_EQ(shown(), before);
    ASSERT_TRUE(sondex::makeSpherical(name, {}));
    ASSERT_TRUE(movie.attach(path, Container::wholeFile));
    int movieBoxes = 0;
    movie.find("moov", [&](auto&) { return ++movieBoxes, true; });
    EXPECT_TRUE(movieBoxes == 1 && MP4::sphericalVideoBox(movie) != nullptr);
    EXPECT_EQ(frames(path), before[2]);
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
