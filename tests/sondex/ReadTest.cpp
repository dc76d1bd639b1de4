#include <gtest/gtest.h>

#include <barrier>
#include <cmath>
#include <thread>

#include "mp4/MetadataBoxes.h"
#include "sondex/inside/Opening.h"
#include "sondex/sondex.h"
#include "tests/kit/BuiltMovie.h"
#include "tests/kit/Files.h"
#include "tests/kit/Program.h"
#include "tests/kit/SensorBoxes.h"

using namespace kit;
using namespace std::string_literals;
using sondex::ErrorCode;

namespace {

const TempFolder& folder() {
    static const TempFolder made;
    return made;
}

std::string write(const std::string& name, const std::string& bytes) {
    folder().write(name, bytes);
    return folder().path() / name;
}

const sondex::Options undecoded{.log = {}, .decode = false};

std::string builtMovie() {
    return BuiltMovie().bytes();
}

std::string hevcMovie() {
    BuiltMovie movie;
    movie.hasNote = false;
    movie.gyro.clear();
    movie.model.clear();
    movie.tracks[0].code = "hvc1";
    return movie.bytes();
}

// clang-format off
constexpr char cameraJson[] =
    R"({"hasKDTD":true, "type":"dualfish", "codec":"H264", "decodable":null, "hasSpatialSound":true, "hasSA3DSound":true, "duration":2, "videoBitRate":84, "model":"Model A", "software":"1.20", "cpuVersion":"2.10b", "cameraSerial":"00012345", )"
    R"("gps":"+35+139/", "frameWidth":640, "frameHeight":320, "GSpherical:InitialViewHeadingDegrees":90, "GSpherical:InitialViewPitchDegrees":-10, "GSpherical:InitialHorizontalFOVDegrees":75, "GSpherical:InitialCameraDolly":0.75, "GSpherical:StitchingSoftware":"S \u00e4\\1", "creatorTool":"T", "topBottomCorrection":false, "dxvaDecodable":true, "directionLocked":true, "videoStabilization":5, "KDTDSamplingRate":30, "KDTBSamplingRate":200, "KDTCSamplingRate":100, "videoQuality":"fine"})";
// clang-format on

}  // namespace

TEST(Door, PutsFactsIntoJson) {
    const auto facts = sondex::readMovie(write("camera.mp4", builtMovie()), undecoded);
    EXPECT_EQ(toJson(facts.value()), cameraJson);
    // A movie of which nothing is known.
    const auto bare = sondex::readMovie(write("bare.mp4", box("moov", mvhd(0, 0))), undecoded);
    EXPECT_EQ(toJson(bare.value()),
              R"({"hasKDTD":false, "type":"equi", "codec":"unknown", "decodable":null, )"
              R"("hasSpatialSound":false, "hasSA3DSound":false, "duration":null, )"
              R"("videoBitRate":0})");
    EXPECT_FALSE(bare->created);
    BuiltMovie movie;
    std::string bytes = movie.bytes(), said;
    bytes[bytes.find(movie.parameterSet)] = 'h';  // of another kind
    const auto log = [&](std::string_view line) { said += line; };
    EXPECT_TRUE(sondex::readMovie(write("camera.mp4", bytes), {.log = log, .decode = false}));
    EXPECT_NE(said.find("avcc.sps_parse() failed: "), std::string::npos) << said;
}

TEST(Door, ReadsStillsByTheirContents) {
    CameraTiff tiff;
    const std::string dng = write("dng.mp4", tiff.tiff());
    EXPECT_EQ(sondex::Facts(sondex::readStill(dng).value()), sondex::read(dng).value());
    const auto jpeg = sondex::readStill(write("jpeg.dng", CameraTiff(false).jpeg()));
    EXPECT_FALSE(jpeg) << "a small-endian record lacks what the reader wants";
    const sondex::Facts facts = sondex::read(write("photo", tiff.jpeg())).value();
    EXPECT_EQ(std::get<sondex::StillFacts>(facts).format, sondex::StillFormat::jpeg);
    EXPECT_FALSE(std::get<sondex::StillFacts>(facts).imageData);
}

TEST(Door, ReadsMotion) {
    const auto motion = sondex::readMotion(write("motion.mp4", builtMovie()));
    ASSERT_TRUE(motion);
    EXPECT_EQ(motion->gyro.size(), 20U);
    EXPECT_EQ(motion->gyro[1].z, 0.5F);
    EXPECT_EQ(motion->compass[2].z, 3);
    EXPECT_EQ(motion->accelerometer.size(), 10U);
    EXPECT_EQ(motion->frameTimes.at(9), 1000000500 + 9 * 33000000U);
    EXPECT_EQ(motion->rates, (sondex::MotionRates{30, 200, 100}));
    EXPECT_EQ(motion->yawMode, sondex::YawMode::lockDirection);
    ASSERT_EQ(motion->yaw.size(), 10U);
    EXPECT_NEAR(std::fabs(motion->yaw[9]), 9 * 0.033 * 0.5, 1e-3);
    EXPECT_FALSE(motion->upsideDown);
}

TEST(Door, ShowsTheBoxes) {
    const std::string place = zeros(8) + u32(1 << 16) + u32(2 << 16);
    const std::string avcC = box("avcC", "\1B\300\36");
    const std::string mdhd = u32(0x01000203) + u64(1) + u64(2) + u32(3) + u64(4);
    // clang-format off
    const std::pair<std::string, std::string> rows[] = {
        {box("moov", box("udta", box("loci", place))), "moov.udta.loci@16+8 first=1 second=2 "},
        {box("moov", box("udta", box("loci", place + u32(3 << 16)))), "moov.udta.loci@16+8 first=1 second=2 third=3 "},
        {box("moov", box("trak", box("mdia", box("mdhd", mdhd)))), "moov.trak.mdia.mdhd@24+8 version=1 flags=515 modificationTime=2 timeScale=3 duration=4 "},
        {fullBox("meta", 0, box("hdlr", zeros(8) + "soun" + zeros(12) + "n")), "meta.hdlr@12+8 handlerType=soun name=n "},
        {uuidBox(MP4::xmpType, "x"), "uuid@0+8 uuid=be7acfcb-97a9-42e8-9c71-999491e3afac text=x "},
        {box("moov", trackOf(tkhd(2, 1), visualEntry("avc1", 2, 1, avcC))), "moov.trak.mdia.minf.stbl.stsd.avc1.avcC@234+8 profile=66 compatibility=192 level=30 "},
        {box("moov", box("trak", tkhd(640, 320))), "moov.trak.tkhd@16+8 version=0 flags=0 creationTime=0 width=640 height=320 "},
        {largeBox("free"), "free@0+16 "},
        {boxClaiming(0, "free"), "free@0+8 open "},
    };
    // clang-format on
    for (const auto& [movie, line] : rows) {
        const auto root = sondex::readBoxes(write("fields.mp4", movie));
        const sondex::Box* box = &root.value();
        while (!box->children.empty())
            box = &box->children.back();
        std::string text = box->path + WEKU::formatText("@%llu+%u ", box->offset, box->headerSize) +
                           (box->openEnded ? "open " : "");
        const auto textOf = [](const auto& value) -> std::string {
            if constexpr (requires { value.size(); })
                return value;
            else
                return WEKU::formatText("%g", static_cast<double>(value));
        };
        for (const sondex::Field& field : box->fields)
            text += field.name + "=" + std::visit(textOf, field.value) + " ";
        EXPECT_EQ(text, line);
    }
}

TEST(Door, SaysWhatAPictureShows) {
    BuiltMovie movie;
    movie.note.camera[0x0001].value = 1 << 16;  // equirectangular
    movie.xml.replace(movie.xml.find(">90<"), 4, ">-90<");
    movie.note.ifd0[0x0110].text = std::string("A\x7F\0", 3);
    const std::string plumb = write("plumb.mp4", movie.bytes());
    const auto frame = sondex::readFrame(plumb);
    if (!frame && frame.error().code == ErrorCode::decoderMissing) GTEST_SKIP();
    EXPECT_NE(frame->bytes.find("PoseHeadingDegrees>270"), std::string::npos);
    EXPECT_NE(frame->bytes.find("PosePitchDegrees"), std::string::npos);
    EXPECT_NE(frame->bytes.find(std::string("A \0", 3)), std::string::npos);
    // A sensor that feels nothing tells no tilt.
    movie.accel = streamBox("KDTD", std::vector<SensorRecords::TopBottomCorrection>(20));
    const auto weightless = sondex::readFrame(write("weightless.mp4", movie.bytes()));
    EXPECT_EQ(weightless->bytes.find("PosePitchDegrees"), std::string::npos);
    EXPECT_EQ(sondex::readFrame(plumb, {.at = -1}).error().message, "times count from 0");
    const auto thrower = [](sondex::Frame&&) -> bool { throw 1; };
    EXPECT_THROW((void)sondex::readFrames(plumb, {}, {}, thrower), int);
    if (!haveFfmpeg()) GTEST_SKIP() << "no movie of more than one picture";
    const std::string several = write("several.mp4", plainClip());
    int taken = 0;
    const auto stop = [&](sondex::Frame&&) { return ++taken > 99; };
    EXPECT_TRUE(sondex::readFrames(several, {.every = 0.1}, {.threads = 2}, stop));
    EXPECT_EQ(taken, 1);
    const auto change = [](sondex::Frame&&) { return !write("several.mp4", "x").empty(); };
    const auto changed = sondex::readFrames(several, {.every = 0.1}, {}, change);
    EXPECT_EQ(changed.error().code, ErrorCode::changed);
}

TEST(Door, SaysWhyThereAreNoFacts) {
    const std::string folderPath = folder().path();
    const std::string locked = write("locked", "x");
    std::string longPath = folderPath;
    while (longPath.size() < 2048)
        longPath += "/.";
    const struct {
        std::string path;
        ErrorCode code;
        std::string message;
    } cases[] = {
        {folderPath + "/none", ErrorCode::notFound, "no such file"},
        {locked + "/below", ErrorCode::notFound, "no such file"},
        {locked + "\0b"s, ErrorCode::notFound, "no such file"},
        {longPath + "/locked", ErrorCode::ioFailed, "File name too long"},
        {folderPath, ErrorCode::notRegularFile, "is a directory"},
        {"/dev/null", ErrorCode::notRegularFile, "no regular file but a device or the like"},
        {write("empty", ""), ErrorCode::notAMovie, "no MP4 or MOV movie; it is empty"},
        // clang-format off
        {write("photo.mp4", "\xFF\xD8\xFF\xE0"), ErrorCode::notAMovie, "no MP4 or MOV movie; it looks like a JPEG"},
        {write("text.mp4", "hello, world\n"), ErrorCode::notAMovie, "no MP4 or MOV movie; it looks like a text"},
        {write("cut.mp4", box("ftyp", "isom") + box("mdat", "x")), ErrorCode::damaged, "the movie box is missing: an MP4 or MOV file that was never finished, or cut"},
        // clang-format on
    };
    for (const auto& [path, code, message] : cases) {
        for (const bool decode : {true, false}) {
            const auto facts = sondex::readMovie(path, {.log = {}, .decode = decode});
            ASSERT_FALSE(facts);
            EXPECT_EQ(facts.error().code, code) << path;
            EXPECT_EQ(facts.error().message, message);
        }
    }
    EXPECT_EQ(sondex::readStill(write("m.jpg", builtMovie())).error().code, ErrorCode::notAStill);
    EXPECT_EQ(sondex::read(write("o.jpg", "\xFF\xD8\xFF\xD9")).error().code,
              ErrorCode::noCameraRecord);
    const auto failed = sondex::readMotion(folderPath);
    EXPECT_THROW((void)failed->gyro, sondex::BadResult);
}

TEST(Door, ReadsAgainWhatChangesUnderTheReading) {
    const std::string path = write("growing.mp4", builtMovie());
    std::vector<std::string> lines;
    const sondex::Options options{.log = [&](std::string_view line) { lines.emplace_back(line); }};
    int readings = 0;
    const auto readWith = [&](int changes) {
        readings = 0;
        lines.clear();
        return sondex::inside::readFile<int>(
            path, options, MP4::Container::wholeFile, [&](const MP4::Container&) {
                WEKU::Console::out(L"reading %d\n", ++readings);
                if (readings <= changes)
                    write("growing.mp4",
                          builtMovie() + std::string(static_cast<std::size_t>(readings), 'x'));
                return sondex::Result<int>(readings);
            });
    };
    EXPECT_EQ(readWith(2).value(), 3);
    EXPECT_EQ(lines, std::vector<std::string>{"reading 3"});
    EXPECT_EQ(readWith(99).error().code, ErrorCode::changed);
    // A name that leads to another file meanwhile harms nobody.
    const auto exchanged = sondex::inside::readFile<std::string>(
        path, options, MP4::Container::wholeFile, [&](const MP4::Container& movie) {
            write("other", "x");
            std::filesystem::rename(folder().path() / "other", path);
            return sondex::Result<std::string>(movie.payload(*movie.first("moov.udta.@mod")));
        });
    EXPECT_EQ(exchanged.value(), "KESTO ZELVA Q7");
}

TEST(Door, IsSilentAndServesManyThreads) {
    const std::string movies[] = {write("one.mp4", builtMovie()), write("two.mp4", hevcMovie())};
    const std::string still = write("three.dng", CameraTiff().tiff());
    const std::string lines[] = {
        "source movie model: KESTO ZELVA Q7 (30001)|source movie panoramaImageType: 2|"
        "H.264 detected.|",
        "KMKN not found.|H.265/HEVC detected(hvc1).|"};
    const std::string printed = captureOutput([&] {
        std::barrier together(8);
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 8; ++thread) {
            threads.emplace_back([&, which = thread % 2] {
                for (int i = 0; i < 20; ++i) {
                    std::string said;
                    const auto log = [&](std::string_view line) {
                        if (i == 0 && said.empty()) together.arrive_and_wait();
                        (said += line) += '|';
                    };
                    const auto facts =
                        sondex::readMovie(movies[which], {.log = log, .decode = false});
                    EXPECT_EQ(toJson(facts.value()) == cameraJson, which == 0);
                    EXPECT_EQ(said, lines[which]);
                    EXPECT_EQ(std::get<sondex::StillFacts>(*sondex::read(still)).yaw, 270.5F);
                    EXPECT_EQ(sondex::readMotion(movies[which])->gyro.empty(), which == 1);
                    EXPECT_FALSE(sondex::readMovie(folder().path().string()));
                }
            });
        }
    });
    EXPECT_EQ(printed, "");
    // What the log throws reaches the caller, and the next call is as good as any.
    const sondex::Options thrower{.log = [](std::string_view) { throw 1; }, .decode = false};
    EXPECT_THROW((void)sondex::readMovie(movies[1], thrower), int);
    EXPECT_TRUE(sondex::readMovie(movies[1], undecoded));
}

TEST(Door, WritesStrictJson) {
    const std::pair<std::string, std::string> cases[] = {
        {"", R"("")"},
        {"a\"b\\c", R"("a\"b\\c")"},
        {"\x01\n\x7F", R"("\u0001\u000a\u007f")"},
        {"\xC3\xA4\xF0\x9F\x98\x80", R"("\u00e4\ud83d\ude00")"},
        {"\xFFz\xC3", R"("\ufffdz\ufffd")"},
        {"a\0b"s, R"("a\u0000b")"},
    };
    for (const auto& [text, json] : cases)
        EXPECT_EQ(sondex::jsonText(text), json);
    sondex::StillFacts still;
    still.yaw = INFINITY;
    EXPECT_EQ(toJson(still), R"({"type":"JPEG"})");
}
