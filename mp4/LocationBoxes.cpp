#include "mp4/LocationBoxes.h"

#include <cmath>

#include "support/Endian.h"

namespace MP4 {
namespace {

constexpr std::uint16_t english = 0x15C7;

template <class T>
std::string big(T value) {
    std::string bytes(sizeof(T), '\0');
    WEKU::storeBig<T>(bytes.data(), value);
    return bytes;
}

std::string fixed(const GPSInfo::BaseX& number) {
    return big(static_cast<std::uint32_t>(number.valid ? number.toUINT32Fixnum() : 0));
}

}  // namespace

std::string boxOf(FourCC type, const std::string& payload) {
    std::string bytes = big(static_cast<std::uint32_t>(8 + payload.size()));
    bytes.append(reinterpret_cast<const char*>(&type), sizeof type);
    return bytes + payload;
}

std::string xyzBox(const GPSInfo& position) {
    const std::string text = position.to_CXYZ_string();
    if (text.empty()) return {};
    return boxOf(XYZ::code, big(static_cast<std::uint16_t>(text.size())) + big(english) + text);
}

std::string cameraPositionBox(const GPSInfo& position) {
    std::string text = position.to_CXYZ_string();
    if (!text.empty() && position.altitude.valid) {
        text.pop_back();
        if (position.altitude.value >= 0) text += '+';
        text += std::to_string(std::lround(position.altitude.value)) + '/';
    }
    return text.empty() ? text : boxOf(fourCC("@xyz"), text);
}

std::string lociBox(const GPSInfo& position) {
    if (!position.latitude.valid || !position.longitude.valid) return {};
    const std::string noName(1, '\0');
    const std::string role(1, '\0');
    const std::string body("earth", 6);
    const std::string noNotes(1, '\0');
    return boxOf(LOCI::code, big(std::uint32_t{0}) + big(english) + noName + role +
                                 fixed(position.longitude) + fixed(position.latitude) +
                                 fixed(position.altitude) + body + noNotes);
}

bool isCompleteLoci(const std::string& payload) {
    constexpr std::size_t languageEnd = 6, roleAndNumbers = 1 + 3 * 4;
    const auto behindText = [&](std::size_t from) {
        // A text in UTF-16 begins with its byte order mark and ends with a whole zero character.
        const bool wide = from + 1 < payload.size() && (payload.compare(from, 2, "\xFE\xFF") == 0 ||
                                                        payload.compare(from, 2, "\xFF\xFE") == 0);
        if (!wide) return payload.find('\0', from);
        for (std::size_t at = from + 2; at + 1 < payload.size(); at += 2) {
            if (payload[at] == 0 && payload[at + 1] == 0) return at + 1;
        }
        return std::string::npos;
    };
    std::size_t at = languageEnd;
    for (const std::size_t fixedBytes : {roleAndNumbers, std::size_t{0}, std::size_t{0}}) {
        const std::size_t last = at < payload.size() ? behindText(at) : std::string::npos;
        if (last == std::string::npos) return false;
        at = last + 1 + fixedBytes;
    }
    return true;
}

}  // namespace MP4
