#include "sensor/VideoStabilizationMode.h"

#include "support/NumberText.h"
#include "support/WideText.h"

namespace {

constexpr std::int32_t imageBit = 8;

const char* nameOf(std::int32_t mode, const char* other) {
    switch (mode) {
        case VideoStabilizationMode::DISABLED:
            return "disabled";
        case VideoStabilizationMode::ENABLED:
            return "enabled";
        case VideoStabilizationMode::LOCK_DIRECTION:
            return "lockDir";
        default:
            return other;
    }
}

/// The stored value that asks for a yaw mode.
std::int32_t storedMode(std::int32_t yaw) {
    if (yaw == VideoStabilizationMode::ENABLED) return 4;
    return yaw == VideoStabilizationMode::LOCK_DIRECTION ? 5 : 0;
}

}  // namespace

VideoStabilizationMode::MODE VideoStabilizationMode::yawMode(std::int32_t setting) {
    static constexpr MODE modes[8] = {DISABLED, ENABLED,        DISABLED, LOCK_DIRECTION,
                                      ENABLED,  LOCK_DIRECTION, DISABLED, DISABLED};
    return modes[setting & 7];
}

std::int32_t VideoStabilizationMode::resolvState(std::int32_t setting, bool allowYaw) {
    const bool unset = setting == -1 || setting == 0;
    if (unset) {
        if (yaw == -1) yaw = ENABLED;
        if (yaw == -2) yaw = LOCK_DIRECTION;
        resolvedYaw = yaw;
    } else {
        // Deliberate: the setting 2 takes its code from `yaw` like the unset ones below, but does
        // not honour a request for a default here.
        if (yaw < 0) yaw = DISABLED;
        const std::int32_t low = setting & 7;
        resolvedYaw = low == 5 || low == 3 ? LOCK_DIRECTION : ENABLED;
    }
    if (!allowYaw) yaw = resolvedYaw = DISABLED;
    if (image < 0) image = allowYaw ? 0 : 1;

    exif = unset || setting == 2 ? storedMode(yaw) : setting;
    const std::int32_t code = exif | imageBit;
    if (image == 1) exif = code;
    source = setting;
    return code;
}

void VideoStabilizationMode::to_s(std::wstring& text) const {
    std::string words = std::string("yaw:") + nameOf(yaw, "UNDEF") + ",image:";
    if (image == 1) {
        words += "enabled,image_gain:";
        WEKU::appendNumber(words, double{imageGain});
    } else {
        words += image == 0 ? "disabled" : "UNDEF";
    }
    words += ",source:" + std::to_string(source) + ",exif:" + std::to_string(exif);
    text = WEKU::wchar::widen(words);
}

void VideoStabilizationMode::stabilizeModeSummary(std::string& text) const {
    // Deliberate: the summary names the resolved mode, the full text the requested one.
    text = std::string("yaw:") + nameOf(resolvedYaw, "unknown") +
           ",image:" + (image == 0 || image == 1 ? nameOf(image, "") : "unknown");
}
