#include <gtest/gtest.h>

#include "exif/ExifParser.h"
#include "tests/kit/Files.h"
#include "tests/kit/TiffBuilder.h"

using kit::CameraTiff;

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
    void (*const damages[])(CameraTiff&) = {
        [](CameraTiff& t) { t.maker.drop({0x4001}); },
        [](CameraTiff& t) { t.identifier = 0; },
        [](CameraTiff& t) {
            t.camera[0x0001].type = 4;
            t.camera[0x0007].count = 2;
            t.camera[0x1014] = {0x0109, 10, 2};
        },
    };
    for (const auto damage : damages) {
        CameraTiff image;
        damage(image);
        EXPECT_EQ(updated(projection, image.tiff(), 1), "ProjectionType override failed.");
        EXPECT_EQ(updated(zenith, image.tiff(), 1), "SphereAdjZenith override failed.");
        EXPECT_EQ(updated(stabilization, image.tiff(), 1), "VideoStabilization override failed.");
    }
}
