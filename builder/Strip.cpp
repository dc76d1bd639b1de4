#include "builder/Strip.h"

#include "support/Endian.h"
#include "support/Failure.h"

namespace {

constexpr char xmpSegment[] = "http://ns.adobe.com/xap/1.0/";
constexpr char extendedXmpSegment[] = "http://ns.adobe.com/xmp/extension/";

/// Runs `visit(begin, end)` for the payload of each segment ahead of the picture.
template <class Visit>
void segments(const std::string& jpeg, Visit visit) {
    std::size_t at = 2;
    while (at + 4 <= jpeg.size()) {
        const auto marker = WEKU::loadBig<std::uint16_t>(&jpeg[at]);
        if (marker == 0xFFFF) {
            ++at;
            continue;
        }
        const std::size_t length = WEKU::loadBig<std::uint16_t>(&jpeg[at + 2]);
        const bool picture = marker < 0xFF00 || marker == 0xFFDA || marker == 0xFFD9;
        if (picture || length < 2 || length > jpeg.size() - at - 2) return;
        visit(at + 4, at + 2 + length);
        at += 2 + length;
    }
}

}  // namespace

Overwrites Strip::ofJpeg(const std::string& file, const Privacy::What& what) {
    std::string after = file;
    Privacy::stripTiff(after, Privacy::TiffIn::jpeg, what);
    segments(file, [&](std::size_t begin, std::size_t end) {
        if (file.compare(begin, sizeof xmpSegment - 1, xmpSegment) != 0 &&
            file.compare(begin, sizeof extendedXmpSegment - 1, extendedXmpSegment) != 0) {
            return;
        }
        std::string text = after.substr(begin, end - begin);
        Privacy::stripXmp(text, what);
        after.replace(begin, end - begin, text);
    });
    Overwrites strip;
    strip.addDifference(0, file, after);
    return strip;
}

Overwrites Strip::ofDng(const std::string& file, const Privacy::What& what) {
    std::string after = file;
    Privacy::stripTiff(after, Privacy::TiffIn::dng, what);
    // A damaged entry may lead to the header; without it the file is no picture any more.
    constexpr std::size_t header = 8;
    if (after.compare(0, header, file, 0, header) != 0) {
        throw WEKU::Failure("its private data lies in its header");
    }
    Overwrites strip;
    strip.addDifference(0, file, after);
    return strip;
}
