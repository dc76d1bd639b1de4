#include <gtest/gtest.h>

#include <cmath>

#include "exif/CameraRecord.h"
#include "tests/kit/Files.h"
#include "tests/kit/TiffBuilder.h"

using kit::byteArray;
using kit::CameraTiff;
using ZELVA = ExifParser::ZELVA;

namespace {

/// The payload after an update, or the message of its failure.
template <typename Enum>
std::string updated(void (*update)(unsigned char*, std::uint64_t, Enum), std::string payload,
                    int value) {
    const std::string before = payload;
    const std::string failure = kit::failureOf([&] {
        update(reinterpret_cast<unsigned char*>(payload.data()), payload.size(),
               static_cast<Enum>(value));
    });
    EXPECT_TRUE(failure.empty() || payload == before);
    return failure.empty() ? payload : failure;
}

constexpr auto projection = &ExifParser::updateProjectionType;
constexpr auto zenith = &ExifParser::updateSphereAdjZenith;
constexpr auto stabilization = &ExifParser::updateVideoStabilization;

}  // namespace

TEST(CameraRecord, StabilisationFlagsFollowTheLowBits) {
    const int flags[] = {0b000, 0b101, 0b000, 0b111, 0b101, 0b111, 0b001, 0b001};
    for (std::uint16_t setting = 0; setting < 16; ++setting) {
        ZELVA record;
        record.attachStabilization(setting);
        EXPECT_EQ(record.stabilize, (setting & 7) == 2 ? 0 : setting);
        const int seen =
            record.stabilizeFlag1 * 4 + record.stabilizeFlag2 * 2 + record.stabilizeFlag3;
        EXPECT_EQ(seen, flags[setting & 7]) << setting;
    }
}

TEST(CameraRecord, TheCompassIsCorrectedForTiltsBeyond45Degrees) {
    const float rows[][4] = {{30, NAN, 100, 100}, {30, 45, 100, 100}, {30, -45, 100, 100},
                             {90, 60, 100, 190},  {90, -60, 100, 10}, {0, 60, -30, -30}};
    for (const auto& [roll, pitch, yaw, compass] : rows) {
        ZELVA record;
        record.roll = roll;
        record.pitch = pitch;
        record.yaw = yaw;
        record.attachCompass();
        EXPECT_NEAR(record.compass, compass, 1e-4) << pitch << ' ' << roll;
    }
}

TEST(CameraRecord, PrintsEveryIfdAndTheRecord) {
    CameraTiff image;
    ExifParser parser;
    parser.attachDNG(byteArray(image.dng()));
    EXPECT_EQ(parser.stripOffset, 0x2000U);
    EXPECT_EQ(parser.stripByteCount, 0x3000U);
    const std::string whole = kit::captureOutput([&] { parser.dumpKMKN(); });
    EXPECT_TRUE(whole.starts_with(
        "\nIFD0 (4)\n  0: 0110 0002 00000008 00000160\n  1: 0131 0002 00000005 00000168\n"
        "  2: 014A 0004 00000002 0000016E\n  3: 8769 0004 00000001 0000003E\n"
        "\nEXIF (1)\n  0: 927C 0007 00000190 00000050\n\nMakerNote (4)\n  0: 0002 "))
        << whole;
    EXPECT_TRUE(whole.ends_with(
        "\n 12: 1014 0003 00000001 00050000\n"
        "\nSubIFDs[0] (1)\n  0: 00FE 0004 00000001 00000001\n\nSubIFDs[1] (2)\n"
        "  0: 0111 0004 00000001 00002000\n  1: 0117 0004 00000001 00003000\n"
        "\n   model: Model A\nsoftware: 1.20\n     ver: 2.10b\n     S/N: 00012345\n    type: 3\n"
        "     HDR: 1\n     yaw: 270.500000\n   pitch: 10.500000\n    roll: -2.500000\n"
        "   a/acc: 6\n compass: 270.500000\nadjZenith: 4\nstabilize: 5\nv-quality: 2\n"
        "stitching.isValid: 1\n   convertVersion: 7\n    fishImgCenter: 960, 961\n"
        "    fishMovCenter: 540, 541\n     samplingRate: 1.500000\n"))
        << whole;

    image.camera.drop({3, 0x1014});
    parser.attachKMKN(byteArray(image.makerNote()));
    const std::string bare = kit::captureOutput([&] { parser.dumpKMKN(); });
    EXPECT_TRUE(bare.starts_with("*** KESTO MakerNote ONLY ***\n\nMakerNote (4)\n  0: 0002 "));
    EXPECT_NE(bare.find("\n   pitch: nan\n    roll: nan\n"), std::string::npos);
    EXPECT_NE(bare.find("\nstabilize: -1\n"), std::string::npos);
    EXPECT_EQ(kit::failureOf([&] { parser.seekToIFD0(); }), "Only KESTO Meta");
    ZELVA record;
    record.model = "kept";
    parser.readZEVLA(record);
    EXPECT_EQ(record.model, "kept");
}

TEST(ExifReader, TheFirstLookForIfd0StaysBehindTheHeader) {
    CameraTiff image;
    image.ifd0Offset = 60;
    ExifParser parser;
    parser.attachBytes(byteArray(image.jpeg()));
    for (const std::uint64_t place : {20U, 72U}) {
        parser.seekToIFD0();
        EXPECT_EQ(parser.position, place);
    }
    // The walk gives up in silence after 32 markers.
    image.jpegHead.insert(2, std::string(64, '\xFF'));
    parser.attachBytes(byteArray(image.jpeg()));
    EXPECT_NO_THROW(parser.seekToIFD0());
    EXPECT_EQ(parser.position, 66U);
    EXPECT_EQ(parser.ifd0Offset, 0U);
}

TEST(ExifUpdate, ChangesTheValueFieldAlone) {
    for (const bool bigEndian : {true, false}) {
        const std::string image = CameraTiff(bigEndian).tiff();
        const auto wanted = [&](std::uint16_t tag, std::uint32_t value) {
            CameraTiff changed(bigEndian);
            changed.camera[tag].value = value;
            return changed.tiff();
        };
        EXPECT_EQ(updated(projection, image, 0x12), wanted(0x0001, 0x00120000));
        EXPECT_EQ(updated(zenith, image, -1), wanted(0x0007, 0xFFFF0000));
        EXPECT_EQ(updated(stabilization, image, 13), wanted(0x1014, 13 << 16));
        EXPECT_EQ(updated(stabilization, image, 0), image);
    }
    // What is not there stays out.
    CameraTiff image;
    image.camera.drop({0x0001, 0x1014});
    EXPECT_EQ(updated(projection, image.tiff(), 1), image.tiff());
    EXPECT_EQ(updated(stabilization, image.tiff(), 1), image.tiff());
}

TEST(ExifUpdate, TurnsTheThreeRationalsIntoTheMissingSetting) {
    CameraTiff image;
    image.camera[0x1014] = {0x0109, 10, 3, 0, {}, {1, 2, 3, 4, 5, 6}};
    std::string result;
    EXPECT_EQ(kit::captureOutput([&] { result = updated(stabilization, image.makerNote(), 4); }),
              "Overwrite VideoStabilization(1014) into 0109.\n");
    CameraTiff wanted = image;
    wanted.camera[0x0109] = {0x1014, 3, 1, 4 << 16};
    const std::string unreferenced("\0\0\0\1\0\0\0\2\0\0\0\3\0\0\0\4\0\0\0\5\0\0\0\6", 24);
    EXPECT_EQ(result, wanted.makerNote() + unreferenced);
}

TEST(ExifUpdate, EveryFailureBecomesTheOperationsOwn) {
    CameraTiff wrongTypes;
    wrongTypes.camera[0x0001].type = 4;
    wrongTypes.camera[0x0007].count = 2;
    wrongTypes.camera[0x1014] = {0x0109, 10, 2};
    for (const std::string& image : {wrongTypes.tiff(), std::string("MM\0\0", 4)}) {
        EXPECT_EQ(updated(projection, image, 1), "ProjectionType override failed.");
        EXPECT_EQ(updated(zenith, image, 1), "SphereAdjZenith override failed.");
        EXPECT_EQ(updated(stabilization, image, 1), "VideoStabilization override failed.");
    }
}
