#include "builder/SphericalXml.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr std::string_view viewElements[] = {
    "GSpherical:StitchingSoftware",
    "GSpherical:SourceCount",
    "GSpherical:Timestamp",
    "GSpherical:InitialViewHeadingDegrees",
    "GSpherical:InitialViewPitchDegrees",
    "GSpherical:InitialHorizontalFOVDegrees",
    "GSpherical:InitialCameraDolly",
};

/// The element of this name with the blanks ahead of it on its line and the line's end behind it;
/// an empty view when there is none.
std::string_view lineOf(std::string_view xml, std::string_view name) {
    const std::string open = std::string("<").append(name).append(">");
    const std::string close = std::string("</").append(name).append(">");
    std::size_t begin = xml.find(open);
    if (begin == std::string_view::npos) return {};
    std::size_t end = xml.find(close, begin);
    if (end == std::string_view::npos) return {};
    end += close.size();
    while (begin > 0 && (xml[begin - 1] == ' ' || xml[begin - 1] == '\t'))
        --begin;
    if (end < xml.size() && xml[end] == '\n') ++end;
    return xml.substr(begin, end - begin);
}

}  // namespace

std::string withView(const std::string& xml, const ViewHeading& view) {
    const std::string fresh = view.toString();
    const std::size_t closing = xml.rfind("</rdf:SphericalVideo>");
    if (closing == std::string::npos) return fresh;
    std::string merged = xml;
    for (const std::string_view name : viewElements) {
        const std::string_view line = lineOf(fresh, name);
        if (line.empty()) continue;
        const std::string_view old = lineOf(merged, name);
        if (!old.empty()) {
            merged.replace(static_cast<std::size_t>(old.data() - merged.data()), old.size(), line);
            continue;
        }
        std::size_t at = merged.rfind("</rdf:SphericalVideo>");
        // On a line of its own, since readers want the blanks ahead of it.
        if (at > 0 && merged[at - 1] != '\n') merged.insert(at++, 1, '\n');
        merged.insert(at, line);
    }
    return merged;
}
