#include <regex>

#include "app/JsonText.h"
#include "fuzz/kit/Fuzzing.h"
#include "mp4/GPSInfo.h"
#include "probe/TagText.h"
#include "sensor/ViewHeading.h"
#include "support/WideText.h"

namespace {

/// The expression that the tag reader stands for, on texts short enough for the library.
void compareWithExpression(const std::string& text, const std::string& tag) {
    const auto found = textBetweenTags(text, tag);
    if (text.size() > 400) return;
    const std::regex expression("<" + tag + "> *(.+) *</" + tag + ">");
    std::smatch match;
    const bool matches = std::regex_search(text, match, expression);
    fuzz::require(found.has_value() == matches, "a tag is found where the expression matches");
    fuzz::require(!matches || match[1].str() == *found, "the text is what the expression takes");
}

void readHeading(const std::string& text) {
    ViewHeading heading;
    heading.attach(text);
    ViewHeading merged;
    merged.attach(heading);
    // What was written reads as the same once more.
    const std::string written = merged.toString();
    ViewHeading again;
    again.attach(written);
    fuzz::require(!heading.software.empty() || again.toString() == written,
                  "what is written reads the same");
}

void readPosition(const std::string& text) {
    GPSInfo position;
    position.attachRXYZ(text.c_str());
    position.attachCompass(text);
    position.to_CXYZ_string();
    position.to_XMP_string(text.c_str(), true, text);
    for (const GPSInfo::BaseX& part : {position.latitude, position.altitude, position.compass}) {
        part.toAbsBase60();
        part.toUINT32Fixnum();
    }
}

void convert(const std::string& text) {
    fuzz::require(WEKU::wchar::narrow(WEKU::wchar::widen(text)) == text, "bytes survive");
    fuzz::require(WEKU::wchar::wcs2mbs(WEKU::wchar::mbs2wcs(text)).size() <= WEKU::wchar::maxNarrow,
                  "the caps hold");
    const std::wstring value = toJsonValueL(text);
    fuzz::require(value.find(L'"', 1) == value.size() - 1, "a JSON value has two quotes");
}

}  // namespace

/// The texts of a movie: spherical XML, XMP packet, positions, and what prints them.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(fuzz::Input(data, size).rest());
    compareWithExpression(text, "x:CreatorTool");
    compareWithExpression(text, "GSpherical:StitchingSoftware");
    readHeading(text);
    readPosition(text);
    convert(text);
    return 0;
}
