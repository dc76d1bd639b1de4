#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "sondex/inside/Opening.h"
#include "sondex/sondex.h"
#include "tests/h264/ParameterSets.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/Files.h"
#include "tests/kit/SensorBoxes.h"
#include "tests/kit/TiffBuilder.h"

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

/// A video track of two seconds at 30 pictures a second, with one chunk of 25000 bytes.
std::string video(const std::string& code, int width, int height, const std::string& inside = {},
                  const std::string& behind = {}) {
    const std::string hdlr = box("hdlr", zeros(8) + "vide" + zeros(12));
    const std::string mdhd = fullBox("mdhd", 0, zeros(8) + u32(30000) + u32(60000) + zeros(4));
    const std::string tables =
        fullBox("stsd", 0, u32(1) + visualEntry(code, width, height, inside)) +
        fullBox("stts", 0, u32(1) + u32(60) + u32(1000)) +
        fullBox("stsz", 0, u32(0) + u32(1) + u32(25000));
    return box("trak", tkhd(width, height) +
                           box("mdia", mdhd + hdlr + box("minf", box("stbl", tables))) + behind);
}

std::string movie(const std::string& userData, const std::string& tracks,
                  const std::string& behind = {}) {
    return box("ftyp", "isom" + zeros(4)) +
           box("moov",
               mvhd(1000, 2000, 2082844800U + 1700000000U) + tracks + box("udta", userData)) +
           behind;
}

std::string sensors() {
    std::vector<SensorRecords::Gyro> gyro;
    std::vector<SensorRecords::Ecompass> compass;
    std::vector<SensorRecords::TopBottomCorrection> accel;
    std::vector<unsigned long long> times;
    for (std::uint64_t i = 0; i < 20; ++i) {
        const std::uint64_t time = 1000000000 + i * 33000000;
        gyro.push_back({0, 0, 0.5F, time});
        compass.push_back({1, 2, 3, time});
        accel.push_back({0, 0, 4096, time});
        if (i < 10) times.push_back(time + 500);
    }
    return streamBox("KDTB", gyro, {.bigEndian = true, .rate = 200}) +
           streamBox("KDTC", compass, {.rate = 100}) + streamBox("KDTD", accel, {.rate = 30}) +
           streamBox("KDTG", times, {.rate = 29});
}

const std::string sphericalXml =
    "<rdf:SphericalVideo>\n  <GSpherical:StitchingSoftware>S "
    "\xC3\xA4\\1</GSpherical:StitchingSoftware>\n"
    "  <GSpherical:InitialViewHeadingDegrees>90</GSpherical:InitialViewHeadingDegrees>\n"
    "  <GSpherical:InitialCameraDolly>0.750000</GSpherical:InitialCameraDolly>\n"
    "</rdf:SphericalVideo>";

/// Baseline with constraint_set1_flag.
std::string h264Record() {
    const ByteArray record =
        h264test::recordOf(fromHex("6742c00dd90141fb016c80000003008000001e078a1524"));
    return {reinterpret_cast<const char*>(record.data()), record.length()};
}

std::string cameraMovie() {
    CameraTiff tiff;
    tiff.camera[0x0001].value = 2 << 16;  // dual fisheye
    const std::string position = u16(17) + u16(0x15C7) + "+35.6895+139.6917";
    return movie(box("@mod", "KESTO ZELVA Q7") + box("KMKN", tiff.tiff()) + box("@xyz", position) +
                     sensors(),
                 video("avc1", 640, 320, box("avcC", h264Record()),
                       uuidBox(MP4::sphericalVideoType, sphericalXml)),
                 uuidBox(MP4::xmpType, "<x:CreatorTool>T</x:CreatorTool>") +
                     uuidBox(MP4::spatialDataType, box("KATR", tkhd(0, 0))));
}

constexpr char cameraJson[] =
    R"({"hasKDTD":true, "type":"dualfish", "codec":"H264", "decodable":null, )"
    R"("hasSpatialSound":true, "hasSA3DSound":false, "duration":2, "videoBitRate":100000, )"
    R"("model":"Model A", "software":"1.20", "cpuVersion":"2.10b", "cameraSerial":"00012345", )"
    R"("gps":"+35.6895+139.6917", "frameWidth":640, "frameHeight":320, )"
    R"("GSpherical:InitialViewHeadingDegrees":90, "GSpherical:InitialCameraDolly":0.75, )"
    R"("GSpherical:StitchingSoftware":"S \u00e4\\1", "creatorTool":"T", )"
    R"("topBottomCorrection":false, "dxvaDecodable":true, "directionLocked":true, )"
    R"("videoStabilization":5, "KDTDSamplingRate":30, "KDTBSamplingRate":200, )"
    R"("KDTCSamplingRate":100, "videoQuality":"fine"})";

constexpr char stillJson[] =
    R"({"type":"DNG", "model":"Model A", "software":"1.20", "cpuVersion":"2.10b", )"
    R"("cameraSerial":"00012345", "yaw":270.5, "pitch":10.5, "roll":-2.5, )"
    R"("jpeg":{"offset":8192, "bytes":12288}})";

}  // namespace

TEST(Door, ReadsAllFactsOfAMovie) {
    const auto facts = sondex::readMovie(write("camera.mp4", cameraMovie()), undecoded);
    ASSERT_TRUE(facts);
    EXPECT_EQ(toJson(*facts), cameraJson);
    EXPECT_EQ(facts->picture, (sondex::Size{640, 320}));
    EXPECT_EQ(facts->frameRate, 30.0F);
    EXPECT_EQ(facts->created, 1700000000);
    ASSERT_TRUE(facts->position);
    EXPECT_NEAR(facts->position->longitude, 139.6917, 1e-6);
    EXPECT_FALSE(facts->position->altitude);

    // A movie of which nothing is known; a standard location box; a duration of nothing.
    const std::string plain = box("\xA9xyz", u16(12) + u16(0) + "-12.5+010.25");
    const auto bare = sondex::readMovie(
        write("bare.mp4", box("moov", mvhd(0, 0) + box("udta", plain) + video("hvc1", 8, 8))),
        undecoded);
    ASSERT_TRUE(bare);
    EXPECT_EQ(toJson(*bare),
              R"({"hasKDTD":false, "type":"unknown", "codec":"H265", )"
              R"("decodable":null, "hasSpatialSound":false, "hasSA3DSound":false, )"
              R"("duration":null, "videoBitRate":null, "frameWidth":8, "frameHeight":8})");
    EXPECT_NEAR(bare->position.value().latitude, -12.5, 1e-6);
    EXPECT_FALSE(bare->created);
}

TEST(Door, ReadsStillsByTheirContents) {
    CameraTiff tiff;
    const std::string dng = write("dng.mp4", tiff.tiff());
    EXPECT_EQ(toJson(sondex::readStill(dng).value()), stillJson);
    EXPECT_EQ(toJson(sondex::read(dng).value()), stillJson);
    const auto jpeg = sondex::readStill(write("jpeg.dng", CameraTiff(false).jpeg()));
    EXPECT_FALSE(jpeg) << "a small-endian record lacks what the reader wants";
    const sondex::Facts facts = sondex::read(write("photo", tiff.jpeg())).value();
    EXPECT_EQ(std::get<sondex::StillFacts>(facts).format, sondex::StillFormat::jpeg);
    EXPECT_FALSE(std::get<sondex::StillFacts>(facts).imageData);
}

TEST(Door, ReadsMotion) {
    const auto motion = sondex::readMotion(write("motion.mp4", cameraMovie()));
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
    const auto root = sondex::readBoxes(write("boxes.mp4", cameraMovie()));
    ASSERT_TRUE(root);
    EXPECT_EQ(root->size, cameraMovie().size());
    const sondex::Box& moov = root->children.at(1);
    EXPECT_EQ(moov.path, "moov");
    EXPECT_EQ(moov.offset, 16U);
    const sondex::Box& header = moov.children.at(1).children.at(0);
    EXPECT_EQ(header.path, "moov.trak.tkhd");
    EXPECT_EQ(header.headerSize, 8U);
    EXPECT_EQ(header.fields.at(3).name, "width");
    EXPECT_EQ(std::get<std::int64_t>(header.fields.at(3).value), 640);
}

TEST(Door, SaysWhyThereAreNoFacts) {
    const std::string folderPath = folder().path();
    const std::string locked = write("locked", "x");
    const struct {
        std::string path;
        ErrorCode code;
        std::string message;
    } cases[] = {
        {folderPath + "/none", ErrorCode::notFound, "no such file"},
        {locked + "/below", ErrorCode::notFound, "no such file"},
        {"a\0b"s, ErrorCode::notFound, "no such file"},
        {std::string(3000, 'x'), ErrorCode::ioFailed, "File name too long"},
        {folderPath, ErrorCode::notRegularFile, "is a directory"},
        {"/dev/null", ErrorCode::notRegularFile, "no regular file but a device or the like"},
        {write("empty", ""), ErrorCode::notAMovie, "no MP4 or MOV movie; it is empty"},
        {write("photo.mp4", "\xFF\xD8\xFF\xE0"), ErrorCode::notAMovie,
         "no MP4 or MOV movie; it looks like a JPEG"},
        {write("text.mp4", "hello, world\n"), ErrorCode::notAMovie,
         "no MP4 or MOV movie; it looks like a text"},
        {write("cut.mp4", box("ftyp", "isom") + box("mdat", "x")), ErrorCode::damaged,
         "the movie box is missing: an MP4 or MOV file that was never finished, or cut"},
    };
    for (const auto& [path, code, message] : cases) {
        for (const bool decode : {true, false}) {
            const auto facts = sondex::readMovie(path, {.log = {}, .decode = decode});
            ASSERT_FALSE(facts);
            EXPECT_EQ(facts.error().code, code) << path;
            EXPECT_EQ(facts.error().message, message);
        }
    }
    EXPECT_EQ(sondex::readStill(write("m.jpg", cameraMovie())).error().code, ErrorCode::notAStill);
    EXPECT_EQ(sondex::read(write("o.jpg", "\xFF\xD8\xFF\xD9")).error().code,
              ErrorCode::noCameraRecord);
    const auto failed = sondex::readMotion(folderPath);
    EXPECT_THROW((void)failed->gyro, sondex::BadResult);
}

TEST(Door, ReadsAgainWhatChangesUnderTheReading) {
    const std::string path = write("growing.mp4", cameraMovie());
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
                          cameraMovie() + std::string(static_cast<std::size_t>(readings), 'x'));
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
    const std::string movies[] = {write("one.mp4", cameraMovie()),
                                  write("two.mp4", movie("", video("hvc1", 640, 320)))};
    const std::string still = write("three.dng", CameraTiff().tiff());
    std::vector<std::string> lines;
    const std::string printed = captureOutput([&] {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 8; ++thread) {
            threads.emplace_back([&, thread] {
                for (int i = 0; i < 20; ++i) {
                    EXPECT_EQ(toJson(sondex::readMovie(movies[0], undecoded).value()), cameraJson);
                    EXPECT_EQ(toJson(sondex::read(still).value()), stillJson);
                    EXPECT_EQ(sondex::readMotion(movies[thread % 2])->gyro.size(),
                              thread % 2 == 0 ? 20U : 0U);
                    EXPECT_FALSE(sondex::readMovie(folder().path().string()));
                }
            });
        }
        threads.clear();
        (void)sondex::readMovie(
            movies[1],
            {.log = [&](std::string_view line) { lines.emplace_back(line); }, .decode = false});
    });
    EXPECT_EQ(printed, "");
    EXPECT_EQ(lines, (std::vector<std::string>{"KMKN not found.", "H.265/HEVC detected(hvc1)."}));
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
