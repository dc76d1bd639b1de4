#include "sensor/ViewHeading.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "support/Console.h"
#include "support/NumberText.h"
#include "support/TextFormat.h"
#include "support/Truncate.h"

namespace {

constexpr char headingLine[] =
    "  <GSpherical:InitialViewHeadingDegrees>%d</GSpherical:InitialViewHeadingDegrees>\n";
constexpr char pitchLine[] =
    "  <GSpherical:InitialViewPitchDegrees>%d</GSpherical:InitialViewPitchDegrees>\n";
constexpr char fovLine[] =
    "  <GSpherical:InitialHorizontalFOVDegrees>%d</GSpherical:InitialHorizontalFOVDegrees>\n";
constexpr char dollyLine[] =
    "  <GSpherical:InitialCameraDolly>%f</GSpherical:InitialCameraDolly>\n";
constexpr char timestampLine[] = "  <GSpherical:Timestamp>%lu</GSpherical:Timestamp>\n";
constexpr char softwareLines[] =
    "  <GSpherical:StitchingSoftware>%s</GSpherical:StitchingSoftware>\n"
    "  <GSpherical:SourceCount>1</GSpherical:SourceCount>\n";
constexpr std::string_view softwareName = "GSpherical:StitchingSoftware";

/// The first match from `start` on. The system's search skips ahead by the key's length, where the
/// string's own would stop at every blank of a text made of blanks.
std::size_t findFrom(std::string_view text, std::string_view key, std::size_t start) {
    if (start > text.size()) return std::string_view::npos;
    const void* found = ::memmem(text.data() + start, text.size() - start, key.data(), key.size());
    if (found == nullptr) return std::string_view::npos;
    return static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
}

/// Reads the number that follows the format's leading text; false when there is none. Deliberate:
/// what follows the number is not looked at, so 90.9 reads as 90 where a whole number is wanted.
template <class T>
bool scanValue(std::string_view text, const char* format, T& value) {
    const std::string_view key(format, std::strcspn(format, "%"));
    const std::size_t found = findFrom(text, key, 0);
    if (found == std::string_view::npos) return false;
    return WEKU::readNumber(text.substr(found + key.size()), value) != 0;
}

std::string softwareOf(std::string_view xml) {
    const std::size_t opening = findFrom(xml, softwareName, 0);
    if (opening == std::string_view::npos) return {};
    const std::size_t begin = opening + softwareName.size() + 1;  // behind the '>'
    const std::size_t closing = findFrom(xml, softwareName, begin);
    if (closing == std::string_view::npos || closing - begin < 2) return {};
    return std::string(xml.substr(begin, closing - begin - 2));  // less the "</"
}

void overwrite(float& value, float other) {
    if (!std::isnan(other)) value = other;
}

}  // namespace

template <class T>
float readValue(std::string_view text, const char* format) {
    if constexpr (std::is_same_v<T, int>) {
        // A number beyond an int comes as its low bits.
        std::int64_t value = 0;
        if (!scanValue(text, format, value)) return ViewHeading::absent;
        return static_cast<float>(static_cast<int>(value));
    } else {
        T value{};
        return scanValue(text, format, value) ? value : ViewHeading::absent;
    }
}

template <class T>
void writeValue(std::string& out, const char* format, float value) {
    if (std::isnan(value)) return;
    if constexpr (std::is_same_v<T, int>) {
        out += WEKU::formatCut(128, format, WEKU::truncateToInt32(value));
    } else {
        out += WEKU::formatCut(128, format, value);
    }
}

template float readValue<int>(std::string_view, const char*);
template float readValue<float>(std::string_view, const char*);
template void writeValue<int>(std::string&, const char*, float);
template void writeValue<float>(std::string&, const char*, float);

void ViewHeading::attach(std::string_view xml) {
    const WEKU::Console::LocaleC guard;
    software = softwareOf(xml);
    heading = readValue<int>(xml, headingLine);
    pitch = readValue<int>(xml, pitchLine);
    fov = readValue<int>(xml, fovLine);
    dolly = readValue<float>(xml, dollyLine);
    timestamp = 0;
    scanValue(xml, timestampLine, timestamp);
}

void ViewHeading::attach(const ViewHeading& other) {
    const WEKU::Console::LocaleC guard;
    overwrite(heading, other.heading);
    overwrite(pitch, other.pitch);
    overwrite(fov, other.fov);
    overwrite(dolly, other.dolly);
    if (other.timestamp != 0) timestamp = other.timestamp;
    if (!other.software.empty()) software = other.software;
}

std::string ViewHeading::toString() const {
    const WEKU::Console::LocaleC guard;
    std::string xml =
        "<rdf:SphericalVideo xmlns:GSpherical='http://ns.google.com/videos/1.0/spherical/'\n"
        "  xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>\n"
        "  <GSpherical:Spherical>true</GSpherical:Spherical>\n"
        "  <GSpherical:Stitched>true</GSpherical:Stitched>\n"
        "  <GSpherical:ProjectionType>equirectangular</GSpherical:ProjectionType>\n";
    if (!software.empty()) xml += WEKU::formatCut(256, softwareLines, software.c_str());
    if (timestamp != 0) xml += WEKU::formatCut(128, timestampLine, timestamp);
    writeValue<int>(xml, headingLine, heading);
    writeValue<int>(xml, pitchLine, pitch);
    writeValue<int>(xml, fovLine, fov);
    writeValue<float>(xml, dollyLine, dolly);
    xml += "</rdf:SphericalVideo>";
    return xml;
}
