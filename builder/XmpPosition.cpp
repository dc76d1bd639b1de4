#include "builder/XmpPosition.h"

#include <cmath>
#include <optional>
#include <string_view>
#include <utility>

#include "support/Truncate.h"

namespace {

/// An element or an attribute, and the value in it.
struct Property {
    std::size_t begin = 0, valueBegin = 0, valueEnd = 0, end = 0;
};

/// The first of the name, whatever its prefix, from the offset on.
std::optional<Property> propertyOf(const std::string& xmp, const std::string& name,
                                   std::size_t from) {
    constexpr std::size_t longestPrefix = 32;
    const std::string local = ":" + name;
    const auto npos = std::string::npos;
    for (std::size_t at = xmp.find(local, from); at != npos; at = xmp.find(local, at + 1)) {
        std::size_t begin = at;
        while (begin > 0 && at - begin < longestPrefix &&
               std::string_view("<>/ \t\r\n'\"").find(xmp[begin - 1]) == npos) {
            --begin;
        }
        const std::size_t behind = at + local.size();
        const char ahead = begin > 0 ? xmp[begin - 1] : '\0';
        if (ahead == '<' && xmp[behind] == '>') {
            const std::size_t close = xmp.find('<', behind);
            const std::string tag = "</" + xmp.substr(begin, behind - begin) + '>';
            if (close == npos || xmp.compare(close, tag.size(), tag) != 0) continue;
            return Property{begin - 1, behind + 1, close, close + tag.size()};
        }
        const std::size_t quote = xmp.find_first_not_of(" \t\r\n=", behind);
        const bool isAttribute = (ahead == ' ' || ahead == '\t' || ahead == '\n') &&
                                 quote != behind && quote != npos &&
                                 (xmp[quote] == '"' || xmp[quote] == '\'');
        if (!isAttribute) continue;
        const std::size_t close = xmp.find(xmp[quote], quote + 1);
        if (close == npos) return {};
        return Property{begin, quote + 1, close, close + 1};
    }
    return {};
}

}  // namespace

std::string withPosition(std::string xmp, const GPSInfo& position) {
    const auto degrees = [](const GPSInfo::BaseX& angle, const char* signs) {
        return angle.toAbsBase60() + signs[angle.value < 0 ? 1 : 0];
    };
    const GPSInfo::BaseX& altitude = position.altitude;
    const auto centimetres = WEKU::truncateToUint64(std::abs(altitude.value) * 100);
    const struct {
        const char* name;
        bool known;
        std::string value;
    } values[] = {
        {"GPSLatitude", true, degrees(position.latitude, "NS")},
        {"GPSLongitude", true, degrees(position.longitude, "EW")},
        {"GPSAltitude", altitude.valid, std::to_string(centimetres) + "/100"},
        {"GPSAltitudeRef", altitude.valid, altitude.value < 0 ? "1" : "0"},
    };
    for (const auto& [name, known, value] : values) {
        std::string changed;
        std::size_t from = 0;
        while (const auto found = propertyOf(xmp, name, from)) {
            changed.append(xmp, from, (known ? found->valueBegin : found->begin) - from);
            if (known) changed += value;
            from = known ? found->valueEnd : found->end;
        }
        changed.append(xmp, from);
        xmp = std::move(changed);
    }
    return xmp;
}
