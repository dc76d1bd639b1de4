#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "sondex/sondex.h"
#include "tests/kit/BuiltMovie.h"
#include "tests/kit/Files.h"
#include "tests/kit/Program.h"

// The whole answer to a movie and to a still, and what becomes of it when one thing in the file is
// another: the line that is printed and the facts of the library, every member of both.

using namespace kit;
using namespace std::string_literals;
using sondex::MovieFacts;
using sondex::StillFacts;

namespace {

// clang-format off
const std::string movieLine =
    R"(result: {"status":"succeed", "hasKDTD":true, "type":"dualfish", "codec":"H264", "decodable":true, "hasSpatialSound":true, "hasSA3DSound":true, "duration":2.00, "videoBitRate":84, "model":"Model A", "software":"1.20", "cpuVersion":"2.10b", )"
    R"("cameraSerial":"00012345", "gps":"+35+139/", "frameWidth":640, "frameHeight":320, "GSpherical:InitialViewHeadingDegrees":90, "GSpherical:InitialViewPitchDegrees":-10, "GSpherical:InitialHorizontalFOVDegrees":75, )"
    R"("GSpherical:InitialCameraDolly":0.75, "GSpherical:StitchingSoftware":"S   \1", "creatorTool":"T", "topBottomCorrection":false, "dxvaDecodable":true, "directionLocked":true, "videoStabilization":5, "KDTDSamplingRate":30, )"
    R"("KDTBSamplingRate":200, "KDTCSamplingRate":100, "videoQuality":"fine"})";

const MovieFacts movieFacts = {
    .camera = {"Model A", "1.20", "2.10b", "00012345"},
    .projection = sondex::Projection::dualFisheye, .codec = sondex::Codec::h264, .decodable = true,
    .picture = sondex::Size{64, 32}, .frame = sondex::Size{640, 320}, .frameRate = 0.5F, .duration = 2.0F,
    .videoBitRate = 84, .created = 1700000000, .hasSpatialSound = true, .hasSa3dSound = true,
    .gps = "+35+139/", .position = sondex::Position{35, 139, {}}, .view = {90.0F, -10.0F, 75.0F, 0.75F},
    .stitchingSoftware = "S \xC3\xA4\\1", .creatorTool = "T", .topBottomCorrection = false, .dxvaDecodable = true,
    .stabilization = sondex::Stabilization{true, 5}, .motion = sondex::MotionRates{30, 200, 100},
    .quality = sondex::Quality::fine,
};

const std::string stillLine =
    R"(result: {"status":"succeed", "type":"DNG", "model":"Model A", "software":"1.20", "cpuVersion":"2.10b", "cameraSerial":"00012345", "yaw":270.5, "pitch":10.5, "roll":-2.5, "jpeg":{"offset":8192, "bytes":12288}})";

const StillFacts stillFacts = {
    .format = sondex::StillFormat::dng, .camera = {"Model A", "1.20", "2.10b", "00012345"},
    .yaw = 270.5F, .pitch = 10.5F, .roll = -2.5F, .imageData = sondex::Extent{8192, 12288},
};
// clang-format on

/// One change of the file, and what it changes in the line, each text for the next one, and in the
/// facts.
template <class File, class Facts>
struct Row {
    std::function<void(File&)> change;
    std::vector<std::string> line;
    std::function<void(Facts&)> facts;
};
using M = BuiltMovie;
using F = MovieFacts;

// What rows take out of the line or put elsewhere.
// clang-format off
const std::string camera = R"("model":"Model A", "software":"1.20", "cpuVersion":"2.10b", "cameraSerial":"00012345", )",
    gps = R"("gps":"+35+139/", )", frame = R"("frameWidth":640, "frameHeight":320, )",
    heading = R"("GSpherical:InitialViewHeadingDegrees":90, )", pitch = R"("GSpherical:InitialViewPitchDegrees":-10, )",
    dolly = R"("GSpherical:InitialCameraDolly":0.75, )", zoom = R"("GSpherical:InitialHorizontalFOVDegrees":75, )" + dolly,
    software = R"("GSpherical:StitchingSoftware":"S   \1", )", creator = R"("creatorTool":"T", )",
    correction = R"("topBottomCorrection":false, )", dxva = R"("dxvaDecodable":true, )", noDxva = R"("dxvaDecodable":false, )",
    lock = R"("directionLocked":true, "videoStabilization":5, )", quality = R"(, "videoQuality":"fine")",
    rates = R"(, "KDTDSamplingRate":30, "KDTBSamplingRate":200, "KDTCSamplingRate":100)",
    equi = R"("type":"equi")", fish = R"("type":"dualfish")", other = R"("type":"unknown")",
    spatial = R"("hasSpatialSound":true)", noSpatial = R"("hasSpatialSound":false)";
// clang-format on
constexpr auto equirectangular = sondex::Projection::equirectangular;

void project(M& m, std::uint32_t projection) {
    m.note.camera[0x0001].value = projection << 16;
}
/// A camera that is not known, whose picture loses so many pixels.
void forget(M& m, std::uint32_t columns, std::uint32_t rows) {
    m.model = "other";
    project(m, 0);
    H264::SequenceParameterSet set = m.set();
    set.frame_cropping_flag = true;
    set.frame_crop_right_offset = columns / 2;
    set.frame_crop_bottom_offset = rows / 2;
    m.put(set);
}
void profile(M& m, std::uint8_t idc, bool constrained) {
    H264::SequenceParameterSet set = m.set();
    set.profile_idc = idc;
    set.constraint_set1_flag = constrained;
    m.put(set);
}
void add(M& m, const char* code, int width, int height) {
    m.tracks.push_back({code, width, height, 9, {}});
}

// clang-format off
const std::vector<Row<M, F>> movieRows = {
    {[](M&) {}, {}, [](F&) {}},
    // The projection: the note's; else the picture's, of a camera that is not known.
    {[](M& m) { project(m, 1); }, {fish, equi}, [](F& f) { f.projection = equirectangular; }},
    {[](M& m) { project(m, 3); }, {fish, other}, [](F& f) { f.projection = {}; }},
    {[](M& m) { project(m, 0); }, {fish, other}, [](F& f) { f.projection = {}; }},
    {[](M& m) { forget(m, 0, 0); }, {fish, equi}, [](F& f) { f.projection = equirectangular; }},
    {[](M& m) { forget(m, 4, 0); }, {fish, other}, [](F& f) { f.projection = {}, f.picture = {60, 32}; }},
    {[](M& m) { forget(m, 0, 2); }, {fish, other}, [](F& f) { f.projection = {}, f.picture = {64, 30}; }},
    {[](M& m) { forget(m, 4, 0), project(m, 1); }, {fish, equi},
     [](F& f) { f.projection = equirectangular, f.picture = {60, 32}; }},
    {[](M& m) { m.model.clear(), m.hasNote = false; }, {fish, equi, camera, "", correction, "", lock, "", quality, ""},
     [](F& f) { f.projection = equirectangular, f.camera = {}, f.topBottomCorrection = {}, f.stabilization = {}, f.quality = {}; }},
    // Codecs: any track's H.265 wins; a sample entry that is not known.
    {[](M& m) { add(m, "hvc1", 8, 8); }, {"H264", "H265", dxva, ""}, [](F& f) { f.codec = sondex::Codec::h265, f.dxvaDecodable = {}; }},
    {[](M& m) { add(m, "hev1", 8, 8); }, {"H264", "H265", dxva, ""}, [](F& f) { f.codec = sondex::Codec::h265, f.dxvaDecodable = {}; }},
    {[](M& m) { m.tracks[0].code = "avc3"; }, {"H264", "unknown", dxva, ""}, [](F& f) { f.codec = {}, f.dxvaDecodable = {}; }},
    // Sounds. The first box of spatial data decides.
    {[](M& m) { m.behind = uuidBox(MP4::spatialDataType) + m.behind; }, {spatial, noSpatial}, [](F& f) { f.hasSpatialSound = false; }},
    {[](M& m) { m.behind.clear(); }, {spatial, noSpatial, creator, ""}, [](F& f) { f.hasSpatialSound = false, f.creatorTool = {}; }},
    {[](M& m) { m.sound = box("SAND"); }, {R"("hasSA3DSound":true)", R"("hasSA3DSound":false)"}, [](F& f) { f.hasSa3dSound = false; }},
    // Of several tracks: the first size that is whole, and the rate of the first with a width.
    {[](M& m) { m.tracks[0].height = 0, add(m, "avc1", 10, 20), add(m, "avc1", 30, 40); }, {"640", "10", "320", "20"},
     [](F& f) { f.frame = {10, 20}; }},
    {[](M& m) { m.tracks[0].width = 0; }, {"84", "0", frame, ""}, [](F& f) { f.frame = {}, f.videoBitRate = 0; }},
    // Durations that are none.
    {[](M& m) { m.timeScale = 0; }, {"2.00", "inf", "84", "0"}, [](F& f) { f.duration = {}, f.videoBitRate = 0; }},
    {[](M& m) { m.duration = 0; }, {"2.00", "0.00", "84", "0"}, [](F& f) { f.duration = 0.0F, f.videoBitRate = {}; }},
    // Positions: one byte is no text, and the box's words read as one that is empty.
    {[](M& m) { m.position = "+"; }, {gps, ""}, [](F& f) { f.gps = {}, f.position = {}; }},
    {[](M& m) { m.position = "+3"; }, {"+35+139/", "+3"}, [](F& f) { f.gps = "+3", f.position = {}; }},
    {[](M& m) { m.position.assign(3000, '+'); }, {"+35+139/", std::string(2048, '+')}, [](F& f) { f.gps = std::string(3000, '+'), f.position = {}; }},
    {[](M& m) { m.position = u16(8) + u16(0x15C7) + m.position; }, {"+35+139/", ""}, [](F&) {}},
    {[](M& m) { m.position.clear(), m.moreUserData = box("\xA9xyz", u16(7) + u16(0) + "-12+009"); }, {gps, ""},
     [](F& f) { f.gps = {}, f.position = sondex::Position{-12, 9, {}}; }},
    // The view: of the first box at the track alone.
    {[](M& m) { m.xml.replace(m.xml.find("  <GSpherical:InitialViewH"), 2, "\t"); }, {heading, ""}, [](F& f) { f.view.heading = {}; }},
    {[](M& m) { m.xml.replace(m.xml.find("-10"), 3, "xxx"); }, {pitch, ""}, [](F& f) { f.view.pitch = {}; }},
    {[](M& m) { m.tracks[0].behind = uuidBox(MP4::xmpType, m.xml); }, {heading + pitch + zoom, ""}, [](F& f) { f.view = {}; }},
    {[](M& m) { m.xml = "  <GSpherical:InitialViewPitchDegrees>0.9  <GSpherical:InitialHorizontalFOVDegrees>75.9"; },
     {heading, "", ":-10", ":0", dolly + software, ""}, [](F& f) { f.view = {{}, 0.0F, 75.0F, {}}, f.stitchingSoftware = {}; }},
    // The parameter set decides, by profile and flag; one that only a decoder reads past counts.
    {[](M& m) { profile(m, 66, false); }, {dxva, noDxva}, [](F& f) { f.dxvaDecodable = false; }},
    {[](M& m) { profile(m, 77, true); }, {dxva, noDxva}, [](F& f) { f.dxvaDecodable = false; }},
    {[](M& m) { m.parameterSet += "\0\0\3\0"s; }, {}, [](F&) {}},
    {[](M& m) { m.parameterSet.back() = '\x81'; }, {}, [](F&) {}},
    // The camera's settings.
    {[](M& m) { m.note.camera[0x0007].value = 1 << 16; }, {R"(ction":false)", R"(ction":true)"}, [](F& f) { f.topBottomCorrection = true; }},
    {[](M& m) { m.note.camera[0x0007].value = 0; }, {}, [](F&) {}},
    {[](M& m) { m.note.camera.drop({0x0007, 0x1014}); }, {correction, "", lock, ""}, [](F& f) { f.topBottomCorrection = {}, f.stabilization = {}; }},
    {[](M& m) { m.note.maker[0x1000].value = 1 << 16; }, {"fine", "normal"}, [](F& f) { f.quality = sondex::Quality::normal; }},
    {[](M& m) { m.note.maker[0x1000].value = 3 << 16; }, {quality, ""}, [](F& f) { f.quality = {}; }},
    {[](M& m) { m.note.ifd0[0x0110].text = " \"A\\\x7F\xC3 \0"s; }, {"Model A", R"(  A\)" "\x7F"}, [](F& f) { f.camera.model = " \"A\\\x7F\xC3 "; }},
    {[](M& m) { m.note.maker[0x0005].text[0] = '\0'; }, {"00012345", ""}, [](F& f) { f.camera.serial = {}; }},
    // Rates stand with samples of the accelerometer, whatever else there is.
    {[](M& m) { m.gyro.clear(), m.compass.clear(); }, {"200", "0", "100", "0"}, [](F& f) { f.motion = {30, 0, 0}; }},
    {[](M& m) { m.accel = box("KDTD", "\0\0\0\0\x1E\0\x10\0\x23\1"s + zeros(6)); }, {R"("hasKDTD":true)", R"("hasKDTD":false)", rates, ""}, [](F& f) { f.motion = {}; }},
};
/// Every stabilisation setting, of which the low three bits count.
std::vector<Row<M, F>> settings() {
    std::vector<Row<M, F>> rows;
    for (const std::int32_t setting : {0, 1, 2, 3, 4, 6, 7, 11}) {
        const sondex::Stabilization shown{setting % 8 == 3, setting == 2 ? 0 : setting};
        const std::string text = R"("directionLocked":)"s + (shown.directionLocked ? "true" : "false") +
                                 R"(, "videoStabilization":)" + std::to_string(shown.setting) + ", ";
        rows.push_back({[=](M& m) { m.note.camera[0x1014].value = static_cast<std::uint32_t>(setting) << 16; },
                        {lock, text}, [=](F& f) { f.stabilization = shown; }});
    }
    return rows;
}

using T = CameraTiff;
using S = StillFacts;
const std::vector<Row<T, S>> stillRows = {
    {[](T&) {}, {}, [](S&) {}},
    {[](T& t) { t.sub1[0x0111].value = 5, t.sub1[0x0117].value = UINT32_MAX; }, {"8192", "5", "12288", "4294967295"},
     [](S& s) { s.imageData = sondex::Extent{5, UINT32_MAX}; }},
    {[](T& t) { t.camera.drop({0x0003}); }, {R"("pitch":10.5, "roll":-2.5, )", ""}, [](S& s) { s.pitch = {}, s.roll = {}; }},
    {[](T& t) { t.camera.drop({0x0004}); }, {R"("yaw":270.5, )", ""}, [](S& s) { s.yaw = {}; }},
    {[](T& t) { t.camera[0x0003].longs = {0, 0, UINT32_MAX, 0}; }, {R"("pitch":10.5, "roll":-2.5, )", R"("pitch":-inf, )"},
     [](S& s) { s.pitch = {}, s.roll = {}; }},
    {[](T& t) { t.ifd0.drop({0x0110, 0x0131}); }, {R"("model":"Model A", "software":"1.20", )", ""},
     [](S& s) { s.camera.model = {}, s.camera.software = {}; }},
};
// clang-format on

template <class File, class Facts>
void hold(const std::vector<Row<File, Facts>>& rows, std::string (File::*bytes)() const,
          const char* ending, const std::string& wholeLine, const Facts& wholeFacts) {
    const TempFolder folder;
    std::string jobs;
    std::vector<Facts> found;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        File file;
        rows[i].change(file);
        const std::string name = std::to_string(i) + ending;
        folder.write(name, (file.*bytes)());
        const std::string path = (folder.path() / name).string();
        jobs += path + "\n";
        const auto facts = sondex::read(path);
        ASSERT_TRUE(facts) << i << ": " << facts.error().message;
        found.push_back(std::get<Facts>(*facts));
    }
    std::istringstream lines(runSondex({}, jobs).out);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        std::string expected = wholeLine, line;
        for (std::size_t text = 0; text < rows[i].line.size(); text += 2) {
            const std::size_t at = expected.find(rows[i].line[text]);
            ASSERT_NE(at, std::string::npos) << i << ": " << rows[i].line[text];
            expected.replace(at, rows[i].line[text].size(), rows[i].line[text + 1]);
        }
        while (std::getline(lines, line) && !line.starts_with("result: ")) {
        }
        EXPECT_EQ(line, expected) << i;
        Facts facts = wholeFacts;
        rows[i].facts(facts);
        EXPECT_TRUE(found[i] == facts) << i << ": " << toJson(found[i]);
    }
}

}  // namespace

TEST(Answers, AreThoseToEveryMovie) {
    hold(movieRows, &BuiltMovie::bytes, ".mp4", movieLine, movieFacts);
    hold(settings(), &BuiltMovie::bytes, ".mp4", movieLine, movieFacts);
}

TEST(Answers, SayWhyANoteIsNotPrinted) {
    const TempFolder folder;
    BuiltMovie movie;
    movie.hasNote = false;
    movie.moreUserData = box("KMKN", "M");
    folder.write("m.mp4", movie.bytes());
    const std::string out = runSondex({(folder.path() / "m.mp4").string(), "-dump"}).out;
    EXPECT_NE(out.find("\nEXIF can't read - "), std::string::npos) << out;
}

TEST(Answers, AreThoseToEveryStill) {
    hold(stillRows, &CameraTiff::tiff, ".dng", stillLine, stillFacts);
    const TempFolder folder;
    folder.write("a.dng", CameraTiff().tiff());
    const std::string printed = runSondex({"-dump", (folder.path() / "a.dng").string()}).out;
    EXPECT_NE(printed.find("\n\nTable1: 412, 9\nTable2: 422, 8\n\nresult: "), std::string::npos)
        << printed;
    StillFacts jpeg = stillFacts;
    jpeg.format = {}, jpeg.imageData = {};
    std::string line = stillLine.substr(0, stillLine.find(", \"jpeg\"")) + "}";
    hold<CameraTiff, StillFacts>({{[](CameraTiff&) {}, {}, [](StillFacts&) {}}}, &CameraTiff::jpeg,
                                 ".jpg", line.replace(line.find("DNG"), 3, "JPEG"), jpeg);
}
