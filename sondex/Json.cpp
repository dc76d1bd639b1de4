#include "sondex/Json.h"

#include <cmath>
#include <concepts>
#include <cstdint>

#include "probe/Sondex.h"
#include "support/NumberText.h"
#include "support/WideText.h"

namespace sondex {

namespace {

/// One JSON object, member by member.
class Object {
  public:
    void member(std::string_view key, std::string_view json) {
        text.append(text.empty() ? "{" : ", ").append(jsonText(key)).append(":").append(json);
    }
    void truth(std::string_view key, bool value) { member(key, value ? "true" : "false"); }
    void number(std::string_view key, std::integral auto value) {
        member(key, std::to_string(value));
    }
    void number(std::string_view key, float value) {
        std::string digits;
        WEKU::appendShortest(digits, value);
        member(key, digits);
    }
    void word(std::string_view key, std::string_view value) { member(key, jsonText(value)); }

    void truthIf(std::string_view key, const std::optional<bool>& value) {
        if (value) truth(key, *value);
    }
    void numberIf(std::string_view key, const std::optional<float>& value) {
        if (value && std::isfinite(*value)) number(key, *value);
    }
    void wordIf(std::string_view key, const std::optional<std::string>& value) {
        if (value) word(key, *value);
    }
    void nullIf(bool unknown, std::string_view key) {
        if (unknown) member(key, "null");
    }

    std::string closed() const { return (text.empty() ? "{" : text) + "}"; }

  private:
    std::string text;
};

void addCamera(Object& object, const Camera& camera) {
    object.wordIf("model", camera.model);
    object.wordIf("software", camera.software);
    object.wordIf("cpuVersion", camera.cpuVersion);
    object.wordIf("cameraSerial", camera.serial);
}

std::string jsonOf(const MovieFacts& facts) {
    Object object;
    object.truth("hasKDTD", facts.motion.has_value());
    object.word("type", Sondex::nameOf(static_cast<Sondex::PROJECTION>(facts.projection)));
    object.word("codec", Sondex::nameOf(static_cast<Sondex::CODEC>(facts.codec)));
    object.truthIf("decodable", facts.decodable);
    object.nullIf(!facts.decodable, "decodable");
    object.truth("hasSpatialSound", facts.hasSpatialSound);
    object.truth("hasSA3DSound", facts.hasSa3dSound);
    object.numberIf("duration", facts.duration);
    object.nullIf(!facts.duration || !std::isfinite(*facts.duration), "duration");
    if (facts.videoBitRate) object.number("videoBitRate", *facts.videoBitRate);
    object.nullIf(!facts.videoBitRate, "videoBitRate");
    addCamera(object, facts.camera);
    object.wordIf("gps", facts.gps);
    if (facts.frame) {
        object.number("frameWidth", facts.frame->width);
        object.number("frameHeight", facts.frame->height);
    }
    object.numberIf("GSpherical:InitialViewHeadingDegrees", facts.view.heading);
    object.numberIf("GSpherical:InitialViewPitchDegrees", facts.view.pitch);
    object.numberIf("GSpherical:InitialHorizontalFOVDegrees", facts.view.fieldOfView);
    object.numberIf("GSpherical:InitialCameraDolly", facts.view.dolly);
    object.wordIf("GSpherical:StitchingSoftware", facts.stitchingSoftware);
    object.wordIf("creatorTool", facts.creatorTool);
    object.truthIf("topBottomCorrection", facts.topBottomCorrection);
    object.truthIf("dxvaDecodable", facts.dxvaDecodable);
    if (facts.stabilization) {
        object.truth("directionLocked", facts.stabilization->directionLocked);
        object.number("videoStabilization", facts.stabilization->setting);
    }
    if (facts.motion) {
        object.number("KDTDSamplingRate", facts.motion->accelerometer);
        object.number("KDTBSamplingRate", facts.motion->gyro);
        object.number("KDTCSamplingRate", facts.motion->compass);
    }
    if (facts.quality)
        object.word("videoQuality", *facts.quality == Quality::fine ? "fine" : "normal");
    return object.closed();
}

std::string jsonOf(const StillFacts& facts) {
    Object object;
    object.word("type", facts.format == StillFormat::dng ? "DNG" : "JPEG");
    addCamera(object, facts.camera);
    object.numberIf("yaw", facts.yaw);
    object.numberIf("pitch", facts.pitch);
    object.numberIf("roll", facts.roll);
    if (facts.imageData) {
        Object extent;
        extent.number("offset", facts.imageData->offset);
        extent.number("bytes", facts.imageData->bytes);
        object.member("jpeg", extent.closed());
    }
    return object.closed();
}

void appendUnit(std::string& json, std::uint32_t unit) {
    static constexpr char digits[] = "0123456789abcdef";
    json += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4)
        json += digits[unit >> shift & 15];
}

}  // namespace

std::string toJson(const Facts& facts) {
    return std::visit([](const auto& each) { return jsonOf(each); }, facts);
}

std::string jsonText(std::string_view text) {
    std::string json = "\"";
    for (const wchar_t wide : WEKU::wchar::widen(text)) {
        const auto point = static_cast<std::uint32_t>(wide);
        if (point == '"' || point == '\\') {
            json += '\\';
            json += static_cast<char>(point);
        } else if (point >= 0x20 && point < 0x7F) {
            json += static_cast<char>(point);
        } else if (point >= 0xDC80 && point <= 0xDCFF) {
            appendUnit(json, 0xFFFD);  // an escaped byte that was no UTF-8
        } else if (point < 0x10000) {
            appendUnit(json, point);
        } else {
            appendUnit(json, 0xD7C0 + (point >> 10));
            appendUnit(json, 0xDC00 + (point & 0x3FF));
        }
    }
    return json += '"';
}

}  // namespace sondex
