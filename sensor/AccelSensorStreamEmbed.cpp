#include "sensor/AccelSensorStreamEmbed.h"

#include "support/Console.h"

using WEKU::Console::out;

namespace {

/// 16-bit negation: -32768 stays what it is.
std::int16_t negated(std::int16_t value) {
    return static_cast<std::int16_t>(-value);
}

}  // namespace

void AccelSensorStreamEmbed::clear() {
    infos.clear();
    upDownReversed = frontReversed = false;
    positiveScore = negativeScore = frontScore = 0;
}

bool AccelSensorStreamEmbed::finishLoad() {
    detectReverse();
    detectReverseFront();
    return static_cast<std::int64_t>(infos.size()) == count;
}

bool AccelSensorStreamEmbed::loadM29(const MP4::Container& movie, int newFrameRate) {
    std::vector<Ecompass> compass;
    std::vector<TopBottomCorrection> accel;
    std::uint16_t unusedRate = 0;
    loadM29_KDTC(movie, compass, unusedRate);
    loadM30_KDTD_with_KDTG(movie, accel, unusedRate);
    return loadM29(compass, accel, newFrameRate);
}

bool AccelSensorStreamEmbed::loadM29(const std::vector<Ecompass>& compass,
                                     const std::vector<TopBottomCorrection>& accel,
                                     int newFrameRate) {
    clear();
    if (compass.empty() || accel.empty() || compass.size() < accel.size()) {
        out(L"KDTC/KDTD is not enough size.\n");
        out(L"  KDTC:   %d\n", static_cast<int>(compass.size()));
        out(L"  KDTD/G: %d\n", static_cast<int>(accel.size()));
        return false;
    }
    count = static_cast<std::int32_t>(accel.size());
    samplingRate = 100;
    tempGain = tempOffset = tempCoeffZ = reserved = 0;
    offsetX = offsetY = offsetZ = tempCompensation = 0;
    frameRate = newFrameRate;
    frameStep = frameRate == 0 ? 0 : 30 / frameRate;

    infos.reserve(accel.size());
    for (std::size_t k = 0; static_cast<std::int64_t>(k) < count; ++k) {
        const TopBottomCorrection& sample = accel[k];
        // From the sensor frame into the camera frame.
        TAccelSensorInfo info{.x = negated(sample.x),
                              .y = negated(sample.z),
                              .z = negated(sample.y),
                              .temperature = 20};
        calcOrientation(info, compass[k]);
        infos.push_back(info);
    }
    return finishLoad();
}
