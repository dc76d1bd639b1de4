#include <algorithm>
#include <cmath>

#include "sensor/AccelSensorStreamEmbed.h"
#include "support/Console.h"
#include "support/Truncate.h"

using WEKU::Matrix3x3;
using WEKU::Vector3;
using WEKU::Console::out;

namespace {

constexpr float pi = 3.1415927F;

/// Sums and products of header fields, which may be anything: they wrap at 32 bits.
std::int32_t sum(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

std::int32_t product(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

Vector3 storedVector(const SensorRecords::TAccelSensorInfo& info) {
    return {static_cast<float>(info.x), static_cast<float>(info.y), static_cast<float>(info.z)};
}

bool isShort(float length) {
    return static_cast<double>(length) < 0.0001;
}

}  // namespace

Vector3 AccelSensorStreamEmbed::axis(int index) const {
    if (infos.empty()) return {};
    const auto last = static_cast<std::int64_t>(infos.size()) - 1;
    const TAccelSensorInfo& info =
        infos[static_cast<std::size_t>(std::clamp<std::int64_t>(index, 0, last))];
    Vector3 v{static_cast<float>(sum(info.x, offsetX)), static_cast<float>(sum(info.y, offsetY)),
              static_cast<float>(sum(info.z, offsetZ))};
    if (tempCompensation != 0) {
        const std::int32_t celsius = sum(product(info.temperature, tempGain), tempOffset) / 100;
        const std::int32_t correction = product(sum(25, -celsius), tempCoeffZ) / 100;
        v.z = v.z + static_cast<float>(product(correction, 16));
    }
    return v;
}

void AccelSensorStreamEmbed::tiltMatrix0WithAxis(const Vector3& from, const Vector3& to,
                                                 Matrix3x3& out) {
    out = {};
    const float fromLength = from.length();
    if (isShort(fromLength)) return;
    const Vector3 u = from / fromLength;
    const Vector3 normal = u.cross(to);
    const float normalLength = normal.length();
    if (isShort(normalLength)) return;

    const Vector3 k = normal / normalLength;
    const float lengths = to.length() * u.length();
    const float cos = u.dot(to) / lengths;
    const float sin = normalLength / lengths;
    const float t = 1 - cos;
    out.rows[0] = {k.x * k.x * t + cos, k.x * k.y * t - sin * k.z, k.x * k.z * t + sin * k.y};
    out.rows[1] = {k.x * k.y * t + sin * k.z, k.y * k.y * t + cos, k.y * k.z * t - sin * k.x};
    out.rows[2] = {k.x * k.z * t - sin * k.y, k.y * k.z * t + sin * k.x, k.z * k.z * t + cos};
}

void AccelSensorStreamEmbed::calcOrientation(TAccelSensorInfo& info, const Ecompass& compass) {
    Matrix3x3 level;
    // In the camera frame gravity of an upright camera lies along -y.
    tiltMatrix0WithAxis(storedVector(info), {0, -1, 0}, level);
    const Vector3 field{compass.x, compass.y, compass.z};
    const float p = level.rows[0].dot(field);
    const float q = level.rows[1].dot(field);
    float angle = std::atan2(p, q);
    if (p > 0) {
        angle = 6.2831855F - angle;
    } else if (p <= 0) {
        angle = -angle;
    }
    // Deliberate: the field has 16 bits, so angles beyond 327.67 degrees become negative.
    info.heading = WEKU::truncateToInt16(angle * 18000 / pi);
}

void AccelSensorStreamEmbed::detectReverse() {
    const WEKU::Console::LocaleC guard;
    positiveScore = negativeScore = 0;
    for (std::size_t i = 0; i < infos.size(); ++i) {
        const Vector3 v = axis(static_cast<int>(i));
        const Vector3 u = v.normalized();
        const float horizontal = std::sqrt(u.x * u.x + u.z * u.z);
        const float weight = 1 / std::max(horizontal, 0.00001F);  // NaN for the zero vector
        if (!(weight > 2.0F)) continue;
        if (v.y > 0) {
            positiveScore += weight;
        } else if (v.y < 0) {
            negativeScore += weight;
        }
    }
    upDownReversed = positiveScore > negativeScore;
    out(L"rev-up/down: [P]%f, [N]:%f -> %c\n", static_cast<double>(positiveScore),
        static_cast<double>(negativeScore), upDownReversed ? 'Y' : 'N');
}

void AccelSensorStreamEmbed::detectReverseFront() {
    const WEKU::Console::LocaleC guard;
    const Vector3 vertical{0, upDownReversed ? -1.0F : 1.0F, 0};
    frontScore = 0;
    for (const TAccelSensorInfo& info : infos) {
        const Vector3 v = storedVector(info);
        const float length = v.length();
        // From the camera frame into the orientation frame: sensor y, z, x.
        const Vector3 u{-v.z / length, -v.y / length, -v.x / length};
        const float d = u.y * vertical.y;
        const Vector3 k = u.cross(vertical).normalized();
        const float turned = (1 - d) * (k.x * k.x) + d;
        frontScore += std::isnan(turned) ? 1.0F : turned;
    }
    frontReversed = (frontScore <= 0) != upDownReversed;
    // Deliberate: the line repeats the up/down verdict, not the one just found.
    out(L"rev-front:   [F]%f -> %c\n", static_cast<double>(frontScore), upDownReversed ? 'Y' : 'N');
}
