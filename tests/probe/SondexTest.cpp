#include "probe/Sondex.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/kit/Movies.h"
#include "tests/kit/TiffBuilder.h"

using namespace kit;

namespace {

/// A probe that has read the boxes of a movie, and what it printed on the way.
struct Probed : Sondex {
    explicit Probed(const std::string& bytes) {
        const OpenedMovie opened(bytes);
        lines = captureOutput([&] {
            readModel(opened.movie);
            readKMKN(opened.movie);
            readCodec(opened.movie);
            readSphericalXML(opened.movie);
            readXMP(opened.movie);
            detectGyroData(opened.movie);
            detectBitRate(opened.movie);
        });
    }

    std::string lines;
};

std::string movieOf(const std::string& userData, const std::string& rest = {}) {
    return box("moov", box("udta", userData) + rest);
}

TEST(Sondex, ReadsModelMakerNoteAndGyro) {
    const std::string unknown = "Unknown codec.\n";
    const std::string zelva("KESTO ZELVA Q7\0", 15);
    const std::tuple<std::string, std::string, bool> cases[] = {
        {"", "KMKN not found.\n" + unknown, false},
        {box("@mod") + box("KMKN") + box("KDTB", zeros(16)), unknown, false},
        {box("@mod", zelva) + box("KMKN", "II"),
         "source movie model: KESTO ZELVA Q7 (0)\nEXIF can't read.\n" + unknown, false},
        {box("@mod", zelva.substr(0, 14)) + box("KMKN", CameraTiff().makerNote()) +
             box("KDTB", zeros(17)) + box("@mod", "KESTO ZELVA P"),
         "source movie model: KESTO ZELVA Q7 (30001)\nsource movie panoramaImageType: 3\n" +
             unknown,
         true},
    };
    for (const auto& [userData, lines, hasGyro] : cases) {
        const Probed movie(movieOf(userData));
        EXPECT_EQ(movie.lines, lines);
        EXPECT_EQ(movie.hasGyro, hasGyro);
    }
    EXPECT_EQ(MetaBuilder::camera_version("KESTO ZELVA PD"), MetaBuilder::CAMERA_PD);
    EXPECT_EQ(MetaBuilder::camera_version("OTHER ZELVA Q7"), MetaBuilder::CAMERA_UNKNOWN);
    const auto video = [](const char* code) {
        return trackOf(tkhd(64, 32), visualEntry(code, 64, 32));
    };
    const Probed three(movieOf(box("KMKN"), video("hvc1") + video("avc1") + video("hev1")));
    EXPECT_EQ(three.lines, "H.264 detected.\nH.265/HEVC detected(hvc1).\n");
    EXPECT_EQ(three.codec, Sondex::CODEC_H265);
    const Probed other(movieOf(box("KMKN"), video("hev1")));
    EXPECT_EQ(other.lines, "H.265/HEVC detected(hev1).\n");
    Sondex odd;
    odd.record.type = 0, odd.width = 65, odd.height = 32;
    EXPECT_EQ(odd.projection(), Sondex::PROJECTION_EQUI);
}

TEST(Sondex, TakesTheFirstTextOfEachKind) {
    const std::string xml =
        "<a>\n<GSpherical:StitchingSoftware>  S</GSpherical:StitchingSoftware>1 "
        "</GSpherical:StitchingSoftware>\n</a>";
    const std::string cut = "<x:CreatorTool>T\r</x:CreatorTool>";
    const auto track = [](const std::string& boxes) { return box("trak", boxes); };
    const Probed movie(movieOf("", track(uuidBox(MP4::xmpType, "x") + box("uuid", zeros(15))) +
                                       track(uuidBox(MP4::sphericalVideoType, xml)) +
                                       track(uuidBox(MP4::sphericalVideoType, "second"))) +
                       uuidBox(MP4::sphericalVideoType, "x") + uuidBox(MP4::xmpType, cut) +
                       uuidBox(MP4::xmpType, "<x:CreatorTool>U</x:CreatorTool>"));
    EXPECT_EQ(movie.sphericalXML, xml);
    EXPECT_EQ(movie.stitchingSoftware, "S</GSpherical:StitchingSoftware>1 ");
    EXPECT_EQ(movie.xmp, cut);
    EXPECT_EQ(movie.creatorTool, "");
}

TEST(Sondex, SharesBitRatesOutAmongTheTracks) {
    const auto track = [](int width, std::uint32_t size, std::uint32_t count) {
        return trackOf(tkhd(width, width), "", fullBox("stsz", 0, u32(size) + u32(count)));
    };
    const std::string audio = track(0, 10, 50), video = track(64, 1000, 5), empty = track(0, 10, 0);
    const std::tuple<std::string, float, float, bool> cases[] = {
        {mvhd(1000, 2000) + audio + video + audio, 20000, 2000, true},
        {mvhd(1000, 2000) + video + video + audio, 20000, 20000, true},
        {mvhd(1000, 2000) + empty + audio, 0, 2000, false},
        {mvhd(1000, 0) + video + audio, INFINITY, INFINITY, false},
    };
    for (const auto& [boxes, videoRate, otherRate, third] : cases) {
        const Probed movie(movieOf("", boxes));
        EXPECT_EQ(movie.lines.ends_with("\n3rd(or more) track is found.\n"), third);
        EXPECT_EQ(movie.videoBitRate, videoRate);
        EXPECT_EQ(movie.otherTrackBitRate, otherRate);
    }
}

}  // namespace
