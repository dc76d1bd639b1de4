#include "probe/VideoReader.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "probe/MovieView.h"
#include "probe/ffmpeg/Meter.h"
#include "tests/kit/Movies.h"
#include "tests/kit/Program.h"

using namespace kit;
namespace fs = std::filesystem;

namespace {

const fs::path programs = fs::read_symlink("/proc/self/exe").parent_path();
constexpr char moduleFile[] = "sondex-video.so";

/// What the reader says about a movie.
struct Described : VideoFacts {
    explicit Described(const std::string& bytes) {
        const OpenedMovie opened(bytes);
        testing::internal::CaptureStderr();
        opened.movie.open([&](WEKU::FileIO& file) {
            succeeded = VideoReader::describeSource(opened.movie, file, *this);
        });
        errors = testing::internal::GetCapturedStderr();
    }

    bool succeeded = false;
    std::string errors;
};

/// Writes `bytes` over those that stand `distance` behind the first `mark`.
std::string patched(std::string movie, std::string_view mark, std::size_t distance,
                    std::string_view bytes) {
    return movie.replace(movie.find(mark) + distance, bytes.size(), bytes);
}

bool canDecode() {
    return haveFfmpeg() && fs::exists(programs / moduleFile);
}

/// Runs these jobs by a copy of the program in the folder, with the library if it is a shared one.
Outcome runIn(const fs::path& folder, const std::string& jobs) {
    for (const auto& entry : fs::directory_iterator(programs)) {
        const std::string name = entry.path().filename().string();
        if (name == "Sondex" || name.starts_with("libsondex.so."))
            fs::copy_file(entry.path(), folder / name);
    }
    return run({"env", "LD_LIBRARY_PATH=" + folder.string(), (folder / "Sondex").string()}, jobs);
}

}  // namespace

// User data; of a fragmented movie tracks without a header, of others sound beside other tracks.
TEST(MovieView, HidesWhatIsNoHelpWhereverAReadBegins) {
    const auto fragmented = [](const char* meta, const char* uuid, const char* udta,
                               const char* trak) {
        const std::string inner = box(udta, box("loci"));
        const std::string named = box("trak", tkhd(1, 1) + box(uuid, "uuidmeta") + inner);
        return box(meta) + box("moov", mvhd(1, 1) + named + inner + box(trak)) + largeBox(uuid) +
               box("mdat", "udta") + box("moof");
    };
    const auto handler = [](const char* type) {
        return fullBox("hdlr", 0, u32(0) + type + zeros(12));
    };
    const std::string sound = box("mdia", handler("soun"));
    const std::string video = box("trak", box("mdia", handler("vide")));
    const std::string odd = box("trak", box("mdia", handler("soun") + handler("vide"))) +
                            box("trak", sound + sound) + box("trak", box("mdia", box("hdlr")));
    const std::pair<std::string, std::string> cases[] = {
        {fragmented("meta", "uuid", "udta", "trak"), fragmented("free", "free", "free", "free")},
        {box("moov", box("trak", sound) + video + odd),
         box("moov", box("free", sound) + video + odd)},
        {box("moov", box("trak", sound)), box("moov", box("trak", sound))},
    };
    for (const auto& each : cases) {
        const std::string& movie = each.first;
        const OpenedMovie opened(movie);
        opened.movie.open([&](WEKU::FileIO& file) {
            const MovieView view(opened.movie, file);
            // From each place, so that a read may begin or end within a type.
            for (std::size_t at = 0; at <= movie.size(); ++at) {
                std::string bytes(7, '?');
                bytes.resize(view.readAt(at, reinterpret_cast<unsigned char*>(bytes.data()), 7));
                ASSERT_EQ(bytes, each.second.substr(at, 7)) << at;
            }
        });
    }
}

TEST(VideoReader, AgreesWithTheEncoder) {
    if (!haveFfmpeg()) GTEST_SKIP() << "no ffmpeg program to make movies with";
    const std::tuple<const char*, std::vector<std::string>, double, float> cases[] = {
        // clang-format off
        {"b.mp4", {"-c:v", "libx264", "-bf", "3", "-r", "24", "-movflags", "+faststart"}, 320, 24},
        {"ten.mp4", {"-c:v", "libx264", "-vf", "scale=161:91", "-pix_fmt", "yuv444p10le"}, 161, 30},
        // So many slices that they are decoded under the meter.
        {"slices.mp4", {"-c:v", "libx264", "-vf", "scale=3840:1920", "-frames:v", "2", "-slices", "99"}, 3840, 30},
        {"hev1.mp4", {"-c:v", "libx265", "-x265-params", "log-level=0", "-r", "25"}, 320, 25},
        // clang-format on
    };
    for (const auto& [name, arguments, width, rate] : cases) {
        const Described movie(clip(name, arguments));
        EXPECT_EQ(movie.width, width) << name;
        EXPECT_FLOAT_EQ(movie.nominalFrameRate, rate) << name;
        EXPECT_EQ(movie.errors, "") << name;
    }
    const Described sound(clip("sound.mp4", {"-vn", "-c:a", "aac"}));
    EXPECT_FALSE(sound.succeeded);
    EXPECT_NE(sound.errors.find("No video tracks found"), std::string::npos);
}

TEST(VideoReader, GoesOnToTheFirstPictureThatDecodes) {
    if (!canDecode()) GTEST_SKIP() << "no movies, or built to read headers only";
    const std::string whole =
        clip("keys.mp4", {"-an", "-c:v", "libx264", "-g", "10", "-pix_fmt", "yuv420p"});
    const std::size_t all = whole.rfind("moov") - whole.find("mdat") - 8;
    EXPECT_EQ(Described(patched(whole, "mdat", 4, zeros(all / 2))).width, 320);
    const Described blank(patched(whole, "mdat", 4, zeros(all)));
    EXPECT_TRUE(blank.succeeded);
    EXPECT_EQ(blank.width, -1);
    EXPECT_FLOAT_EQ(blank.nominalFrameRate, 30);
}

TEST(VideoReader, RefusesHugePicturesAndForeignCodecs) {
    if (!canDecode()) GTEST_SKIP() << "no movies, or built to read headers only";
    constexpr std::string_view startOfFrame("\xFF\xC0\0\x11", 4);
    // The decoder takes no picture for true that is out of proportion to its bytes.
    const std::string& movie = clip("jpeg.mov", {"-an", "-c:v", "mjpeg", "-frames:v", "1", "-q:v",
                                                 "1", "-vf", "scale=1920:960,noise=alls=100"});
    const std::pair<std::string, const char*> cases[] = {
        // clang-format off
        // Claimed by the sample entry, and by the picture itself, which says its height first.
        {patched(movie, "stsd", 44, u16(16384) + u16(8193)), "134217728 pixels"},
        {patched(movie, startOfFrame, 5, u16(8193) + u16(16384)), "134217728 pixels"},
        // A few bytes each, and each could have the whole picture walked over.
        {patched(patched(movie, startOfFrame, 5, u16(8192) + u16(16384)), "\xFF\xDA", 200, "\xFF\xDA\xFF\xDA\xFF\xDA\xFF\xDA"), "more time or memory"},
        {clip("png.mov", {"-an", "-c:v", "png", "-frames:v", "2"}), "the codec png"},
        // clang-format on
    };
    for (const auto& [bytes, line] : cases) {
        const Described refused(bytes);
        EXPECT_TRUE(refused.succeeded);
        EXPECT_EQ(refused.width, -1);
        EXPECT_NE(refused.errors.find(line), std::string::npos) << refused.errors;
    }
}

TEST(VideoReader, BoundsWhatHostileTablesCost) {
    if (!canDecode()) GTEST_SKIP() << "no movies, or built to read headers only";
    // 400 tracks of 160 MB of index each, in 300 bytes each.
    const std::string count = u32(6'700'000);
    const std::string tables = fullBox("stts", 0, u32(1) + count + u32(1)) +
                               fullBox("stsc", 0, u32(1) + u32(1) + u32(INT32_MAX) + u32(1)) +
                               fullBox("stsz", 0, u32(1) + count) +
                               fullBox("stco", 0, u32(1) + u32(0));
    std::string tracks;
    for (int i = 0; i < 400; ++i)
        tracks += trackOf(tkhd(64, 32), visualEntry("jpeg", 64, 32), tables);
    rusage before{}, after{};
    ::getrusage(RUSAGE_SELF, &before);
    const Described movie(box("moov", mvhd(1, 1) + tracks) + box("mdat"));
    ::getrusage(RUSAGE_SELF, &after);
    EXPECT_EQ(movie.width, -1);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 256 << 10);
}

TEST(Meter, StartsFromWhatIsResidentNow) {
    const auto take = [](std::size_t bytes) { return std::string(bytes, 'x'); };
    constexpr std::size_t much = 256 << 20;
    // A peak of before is nobody's allowance.
    EXPECT_EQ(take(much).size(), much);
    Meter meter(much / 8, UINT64_MAX / 2);
    EXPECT_FALSE(meter.isExceeded());
    EXPECT_TRUE(meter.isExceeded(2 * much));
    Meter memory(much / 8, UINT64_MAX / 2);
    const std::string taken = take(much / 2);
    EXPECT_TRUE(memory.isExceeded());
    Meter time(much, 1000);
    while (!time.isExceeded()) {
    }
}

TEST(VideoReader, LoadsNoModuleThatOthersMayChange) {
    if (!canDecode()) GTEST_SKIP() << "no movies, or built to read headers only";
    struct Case {
        fs::path open;
        unsigned mode;
        uid_t owner;
        bool loads;
    };
    // Of top/folder/sondex-video.so.
    const Case cases[] = {
        {"top/folder", 0755, 0, true},
        {"top/folder", 0777, 0, false},
        {"top/folder", 0757, 0, false},
        {"top", 0777, 0, false},
        // Others cannot replace what is in there.
        {"top", 01777, 0, true},
        {fs::path("top/folder") / moduleFile, 01646, 0, false},
        // Whose group is not the user's.
        {"top", 0775, 0, ::getegid() == ::geteuid()},
        {"top/folder", 0755, 1, false},
        {fs::path("top/folder") / moduleFile, 0644, 1, false},
    };
    for (const Case& here : cases) {
        if (here.owner != 0 && ::geteuid() != 0) continue;
        const TempFolder folder;
        const fs::path place = folder.path() / "top/folder";
        fs::create_directories(place);
        fs::copy_file(programs / moduleFile, place / moduleFile);
        folder.write("m.mp4", plainClip());
        fs::permissions(folder.path() / here.open, fs::perms(here.mode));
        if (here.owner != 0) {
            ASSERT_EQ(::chown((folder.path() / here.open).c_str(), here.owner, here.owner), 0);
        }
        const Outcome outcome = runIn(place, (folder.path() / "m.mp4").string() + "\n");
        EXPECT_EQ(outcome.out.find("succeed") != std::string::npos, here.loads)
            << here.open << std::oct << here.mode << outcome.err;
        EXPECT_EQ(outcome.err.find("others may change") == std::string::npos, here.loads);
    }
}

TEST(VideoReader, FailsAloudWithoutTheModule) {
    if (!canDecode()) GTEST_SKIP() << "no movies, or built to read headers only";
    // A copy of the program beside a file that is no module.
    const TempFolder folder;
    folder.write(moduleFile, "no module");
    folder.write("m.mp4", plainClip());
    const std::string movie = (folder.path() / "m.mp4").string();
    const Outcome outcome = runIn(folder.path(), movie + "\n" + movie + "\n");
    EXPECT_NE(outcome.out.find("result: {\"status\":\"failed\"}\n"), std::string::npos);
    const std::string line = "Sondex: no movie can be decoded: ";
    EXPECT_EQ(outcome.err.find(line), 0U) << outcome.err;
    EXPECT_EQ(outcome.err.rfind(line), 0U) << outcome.err;
}
