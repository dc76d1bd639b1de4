#include "builder/FrameNotes.h"

#include <algorithm>
#include <cmath>
#include <ctime>

#include "exif/TiffCodes.h"
#include "exif/TiffWriter.h"
#include "support/Endian.h"
#include "support/TextFormat.h"

namespace {

using WEKU::formatText;

/// An APP1 segment; empty when it would be too long for one.
std::string segment(const std::string& payload) {
    constexpr std::size_t longest = 65533;
    if (payload.size() > longest) return {};
    char length[2];
    WEKU::storeBig(length, static_cast<std::uint16_t>(payload.size() + sizeof length));
    return std::string("\xFF\xE1").append(length, sizeof length) + payload;
}

namespace Tag = Tiff::Tag;

/// Degrees, minutes and seconds, the last with five places.
std::vector<TiffWriter::Rational> sexagesimal(double degrees) {
    constexpr std::uint64_t second = 100000;
    const auto all = static_cast<std::uint64_t>(std::llround(std::fabs(degrees) * 3600 * second));
    const auto part = [](std::uint64_t value) { return static_cast<std::uint32_t>(value); };
    return {{part(all / (3600 * second)), 1},
            {part(all / (60 * second) % 60), 1},
            {part(all % (60 * second)), second}};
}

TiffWriter gpsOf(const FrameNotes::Place& place) {
    TiffWriter gps;
    gps.bytes(Tag::gpsVersion, {"\2\3\0\0", 4});
    gps.ascii(Tag::gpsLatitudeRef, place.latitude < 0 ? "S" : "N");
    gps.rationals(Tag::gpsLatitude, sexagesimal(place.latitude));
    gps.ascii(Tag::gpsLongitudeRef, place.longitude < 0 ? "W" : "E");
    gps.rationals(Tag::gpsLongitude, sexagesimal(place.longitude));
    if (place.altitude && std::fabs(*place.altitude) < 1e6) {
        gps.bytes(Tag::gpsAltitudeRef, {*place.altitude < 0 ? "\1" : "\0", 1});
        const long long centimetres = std::llround(std::fabs(*place.altitude) * 100);
        gps.rationals(Tag::gpsAltitude, {{static_cast<std::uint32_t>(centimetres), 100}});
    }
    return gps;
}

struct Clock {
    std::string date, fraction;
};

/// In UTC; nothing for a year that the field cannot hold.
std::optional<Clock> clockOf(const std::optional<double>& time) {
    if (!time || !(std::fabs(*time) < 1e12)) return std::nullopt;
    const auto milliseconds = std::llround(*time * 1000);
    auto seconds = static_cast<std::time_t>(milliseconds / 1000);
    auto rest = static_cast<int>(milliseconds % 1000);
    if (rest < 0) {
        --seconds;
        rest += 1000;
    }
    std::tm parts{};
    if (::gmtime_r(&seconds, &parts) == nullptr || parts.tm_year > 9999 - 1900) return std::nullopt;
    return Clock{formatText("%04d:%02d:%02d %02d:%02d:%02d", parts.tm_year + 1900, parts.tm_mon + 1,
                            parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec),
                 formatText("%03d", rest)};
}

std::string escaped(const std::string& text) {
    std::string safe;
    for (const char c : text)
        safe += c >= ' ' && c <= '~' && c != '<' && c != '>' && c != '&' ? c : ' ';
    return safe;
}

}  // namespace

std::string FrameNotes::exif() const {
    TiffWriter ifd0, exif, gps;
    const auto clock = clockOf(time);
    const std::size_t blank = model.find(' ');
    if (blank != std::string::npos) ifd0.ascii(Tag::make, model.substr(0, blank));
    if (!model.empty()) ifd0.ascii(Tag::model, model);
    ifd0.shortInt(Tag::orientation, 1);
    ifd0.rationals(Tag::xResolution, {{72, 1}});
    ifd0.rationals(Tag::yResolution, {{72, 1}});
    ifd0.shortInt(Tag::resolutionUnit, 2);
    if (clock) ifd0.ascii(Tag::dateTime, clock->date);
    ifd0.shortInt(Tag::yCbCrPositioning, 1);

    exif.undefined(Tag::exifVersion, "0232");
    if (clock) {
        constexpr const char* utc = "+00:00";
        exif.ascii(Tag::dateTimeOriginal, clock->date);
        exif.ascii(Tag::dateTimeDigitized, clock->date);
        exif.ascii(Tag::offsetTime, utc);
        exif.ascii(Tag::offsetTimeOriginal, utc);
        exif.ascii(Tag::offsetTimeDigitized, utc);
    }
    exif.undefined(Tag::componentsConfiguration, {"\1\2\3\0", 4});
    if (clock) {
        exif.ascii(Tag::subSecTime, clock->fraction);
        exif.ascii(Tag::subSecTimeOriginal, clock->fraction);
        exif.ascii(Tag::subSecTimeDigitized, clock->fraction);
    }
    exif.undefined(Tag::flashpixVersion, "0100");
    exif.shortInt(Tag::colorSpace, 1);
    exif.longInt(Tag::pixelXDimension, width);
    exif.longInt(Tag::pixelYDimension, height);
    ifd0.ifd(Tag::exifIFD, exif);
    // A movie may state any numbers.
    if (place && std::fabs(place->latitude) <= 90 && std::fabs(place->longitude) <= 180) {
        gps = gpsOf(*place);
        ifd0.ifd(Tag::gpsIFD, gps);
    }
    return std::string("Exif\0\0", 6) + ifd0.whole();
}

std::string FrameNotes::xmp() const {
    std::string properties;
    const auto add = [&](const char* name, const std::string& value) {
        properties += formatText("   <GPano:%s>%s</GPano:%s>\n", name, value.c_str(), name);
    };
    const auto angle = [&](const char* name, const std::optional<double>& degrees) {
        if (degrees && std::isfinite(*degrees)) add(name, formatText("%.2f", *degrees));
    };
    // A picture that was scaled may miss two to one by a pixel.
    const std::uint32_t twice = 2 * height;
    const bool isWhole = std::max(width, twice) - std::min(width, twice) < 2;
    const std::uint32_t fullWidth = isWhole ? width : std::max(width, twice);
    const std::uint32_t fullHeight = isWhole ? height : fullWidth / 2;
    const auto pixels = [](std::uint32_t number) { return std::to_string(number); };
    add("UsePanoramaViewer", "True");
    add("ProjectionType", "equirectangular");
    if (!stitchingSoftware.empty()) add("StitchingSoftware", escaped(stitchingSoftware));
    add("FullPanoWidthPixels", pixels(fullWidth));
    add("FullPanoHeightPixels", pixels(fullHeight));
    add("CroppedAreaImageWidthPixels", pixels(width));
    add("CroppedAreaImageHeightPixels", pixels(height));
    add("CroppedAreaLeftPixels", pixels((fullWidth - width) / 2));
    add("CroppedAreaTopPixels", pixels((fullHeight - height) / 2));
    angle("PoseHeadingDegrees", heading);
    angle("PosePitchDegrees", pitch);
    angle("PoseRollDegrees", roll);
    return std::string("http://ns.adobe.com/xap/1.0/\0", 29) +
           "<?xpacket begin=\"\xEF\xBB\xBF\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
           "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">\n"
           " <rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n"
           "  <rdf:Description rdf:about=\"\"\n"
           "    xmlns:GPano=\"http://ns.google.com/photos/1.0/panorama/\">\n" +
           properties + "  </rdf:Description>\n </rdf:RDF>\n</x:xmpmeta>\n<?xpacket end=\"r\"?>";
}

void FrameNotes::putInto(std::string& jpeg) const {
    if (!jpeg.starts_with("\xFF\xD8")) return;
    std::size_t behind = 2;
    if (jpeg.compare(behind, 2, "\xFF\xE0") == 0 && jpeg.size() >= 6) {
        behind += 2 + std::size_t{WEKU::loadBig<std::uint16_t>(jpeg.data() + 4)};
    }
    std::string notes = segment(exif());
    if (isEquirectangular) notes += segment(xmp());
    jpeg.replace(2, std::min(behind, jpeg.size()) - 2, notes);
}
