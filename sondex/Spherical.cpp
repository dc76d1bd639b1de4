#include <algorithm>
#include <cmath>

#include "builder/SphericalXml.h"
#include "exif/CameraRecord.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/MetadataEdit.h"
#include "sondex/Edit.h"
#include "sondex/inside/Editing.h"
#include "support/Failure.h"

namespace sondex {

using namespace inside;

namespace {

/// Text as it may stand in an XML element.
std::string escaped(const std::string& text) {
    std::string safe;
    for (const char c : text.substr(0, text.find('\0'))) {
        const bool plain = c >= ' ' && c <= '~' && c != '<' && c != '>' && c != '&';
        safe += plain ? c : ' ';
    }
    return safe;
}

/// The view that the maker note tells: who made the picture and where its middle looks.
ViewHeading cameraView(const MP4::Container& movie) {
    ViewHeading view;
    const MP4::BOX* note = movie.first(MP4::path::makerNote);
    if (note == nullptr) return view;
    const std::string payload = movie.payload(*note);
    ExifParser parser;
    ExifParser::ZELVA record;
    try {
        parser.attachKMKN(reinterpret_cast<const unsigned char*>(payload.data()), payload.size());
        parser.readZEVLA(record);
    } catch (WEKU::Failure) {
        // What was decoded until then is kept.
    }
    view.software = escaped(record.model);
    if (std::isfinite(record.compass)) view.heading = std::fmod(record.compass + 360.0F, 360.0F);
    return view;
}

/// Whether the tags of an XML text close in the order in which they open.
bool isWellFormed(std::string_view xml) {
    std::vector<std::string_view> open;
    bool any = false;
    for (std::size_t at = xml.find('<'); at != xml.npos; at = xml.find('<', at)) {
        const std::size_t end = xml.find('>', at);
        if (end == xml.npos) return false;
        const std::string_view tag = xml.substr(at + 1, end - at - 1);
        at = end;
        if (tag.empty() || tag.front() == '?' || tag.front() == '!') continue;
        if (tag.front() == '/') {
            if (open.empty() || open.back() != tag.substr(1)) return false;
            open.pop_back();
        } else if (tag.back() != '/') {
            open.push_back(tag.substr(0, tag.find_first_of(" \t\r\n")));
        }
        any = true;
    }
    return any && open.empty();
}

/// The text of an element, by its name behind any prefix.
std::string elementOf(std::string_view xml, std::string_view name) {
    const std::size_t found = xml.find(std::string(":").append(name).append(">"));
    if (found == xml.npos) return "";
    const std::size_t begin = found + name.size() + 2;
    return escaped(std::string(xml.substr(begin, xml.find('<', begin) - begin)));
}

std::size_t videoTracks(const MP4::Container& movie) {
    std::size_t tracks = 0;
    movie.find("moov.trak.tkhd", [&](MP4::BOX& box) {
        tracks += static_cast<const MP4::TKHD&>(box).width > 0 ? 1 : 0;
        return true;
    });
    return tracks;
}

/// Where a spherical-video box stands that is not in the video track.
std::string elsewhere(const MP4::Container& movie) {
    for (const auto& [path, place] : {std::pair("uuid", "at the top level"),
                                      std::pair(MP4::path::trackUuid, "in another track")}) {
        bool found = false;
        movie.find(path, [&](MP4::BOX& box) {
            found = found || static_cast<const MP4::UUID&>(box).is(MP4::sphericalVideoType);
            return !found;
        });
        if (found) return std::string("it stands ") + place;
    }
    return "there is none";
}

std::vector<SphericalRule> rulesOf(const MP4::Container& movie) {
    std::vector<SphericalRule> rules;
    const std::size_t tracks = videoTracks(movie);
    rules.push_back({"one video track", tracks == 1, std::to_string(tracks)});
    if (movie.videoTrack == nullptr) return rules;
    if (const auto* header = movie.videoTrack->first<MP4::TKHD>("tkhd")) {
        rules.push_back({"twice as wide as high", header->width == 2 * header->height,
                         std::to_string(header->width) + " x " + std::to_string(header->height)});
    }
    const MP4::UUID* box = MP4::sphericalVideoBox(movie);
    rules.push_back(
        {"spherical-video box in the video track", box != nullptr,
         box != nullptr ? "at offset " + std::to_string(box->start) : elsewhere(movie)});
    if (box == nullptr) return rules;
    const std::string& xml = box->payload;
    const bool isWell = isWellFormed(xml);
    rules.push_back({"XML well formed", isWell, isWell ? "yes" : "no"});
    for (const auto& [name, wanted] :
         {std::pair("Spherical", "true"), std::pair("Stitched", "true"),
          std::pair("ProjectionType", "equirectangular")}) {
        const std::string found = elementOf(xml, name);
        rules.push_back({std::string(name) + " is " + wanted, found == wanted,
                         found.empty() ? "it is missing" : found});
    }
    return rules;
}

}  // namespace

Result<Done> makeSpherical(std::string_view path, const InitialView& view) {
    return quietly<Done>([&](const Reasons& reasons) -> Result<Done> {
        MP4::Container movie;
        if (auto error = attachMovie(movie, path)) return *error;
        if (movie.videoTrack == nullptr) return refused("it has no video track");
        const MP4::UUID* old = MP4::sphericalVideoBox(movie);
        const auto rules = rulesOf(movie);
        // What a viewer would not take for the box of a 360-degree movie is written anew.
        const bool isSound =
            old != nullptr && std::all_of(rules.begin() + 3, rules.end(),
                                          [](const auto& rule) { return rule.holds; });
        ViewHeading wanted;
        if (old != nullptr) wanted.attach(old->payload);
        if (old == nullptr) wanted = cameraView(movie);
        ViewHeading given;
        given.heading = view.heading.value_or(ViewHeading::absent);
        given.pitch = view.pitch.value_or(ViewHeading::absent);
        given.fov = view.fieldOfView.value_or(ViewHeading::absent);
        given.dolly = view.dolly.value_or(ViewHeading::absent);
        wanted.attach(given);
        wanted.software = escaped(wanted.software);
        // The standard of the XML asks for it.
        if (wanted.software.empty()) wanted.software = "unknown";
        const std::string xml = isSound ? withView(old->payload, given) : wanted.toString();
        MP4::MetadataEdit edit(movie);
        (void)edit.putSphericalXml(xml, MP4::MetadataEdit::Present::replace);
        if (edit.isEmpty()) return Done();
        if (!edit.apply(L"appendSphericalVideoXML")) return reasons.error(movie);
        return Done{old == nullptr ? "spherical-video box added"
                    : isSound      ? "view set"
                                   : "spherical-video box mended"};
    });
}

Result<std::vector<SphericalRule>> checkSpherical(std::string_view path) {
    using Rules = std::vector<SphericalRule>;
    return quietly<Rules>([&](const Reasons&) -> Result<Rules> {
        MP4::Container movie;
        if (auto error = attachMovie(movie, path)) return *error;
        return rulesOf(movie);
    });
}

}  // namespace sondex
