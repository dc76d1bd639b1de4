#include <gtest/gtest.h>

#include "sensor/VideoStabilizationMode.h"

TEST(VideoStabilizationMode, ResolvesSettings) {
    struct Case {
        int setting, yawBefore, imageBefore;
        bool allowYaw;
        int yawMode, yaw, resolved, image, exif, code;
    };
    const Case cases[] = {
        {0, -1, -1, true, 0, 1, 1, 0, 4, 12},  {-1, -2, -1, true, 0, 2, 2, 0, 5, 13},
        {0, -2, -1, false, 0, 0, 0, 1, 8, 8},  {2, 2, 1, true, 0, 2, 1, 1, 13, 13},
        {3, -1, 1, true, 2, 0, 2, 1, 11, 11},  {5, 1, 0, false, 2, 0, 0, 0, 5, 13},
        {-2, 1, -1, true, 0, 1, 1, 0, -2, -2}, {4, 0, 0, true, 1, 0, 1, 0, 4, 12},
    };
    for (const Case& c : cases) {
        VideoStabilizationMode mode;
        mode.yaw = c.yawBefore;
        mode.image = c.imageBefore;
        const int code = mode.resolvState(c.setting, c.allowYaw);
        const int yawMode = VideoStabilizationMode::yawMode(c.setting);
        EXPECT_EQ((std::vector{yawMode, mode.yaw, mode.resolvedYaw, mode.image, mode.exif, code}),
                  (std::vector{c.yawMode, c.yaw, c.resolved, c.image, c.exif, c.code}))
            << c.setting << ' ' << c.yawBefore << ' ' << c.allowYaw;
    }
}

TEST(VideoStabilizationMode, TextsNameDifferentYawFields) {
    VideoStabilizationMode mode;
    mode.image = mode.yaw = 1;
    mode.imageGain = 0.75F;
    mode.resolvState(3, true);
    std::wstring full;
    std::string summary;
    mode.to_s(full);
    mode.stabilizeModeSummary(summary);
    EXPECT_EQ(full, L"yaw:enabled,image:enabled,image_gain:0.75,source:3,exif:11");
    EXPECT_EQ(summary, "yaw:lockDir,image:enabled");
}
