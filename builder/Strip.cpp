#include "builder/Strip.h"

#include <algorithm>

#include "exif/CameraRecord.h"
#include "support/Endian.h"

void Strip::addDifference(std::uint64_t offset, const std::string& before,
                          const std::string& after) {
    for (std::size_t at = 0; at < before.size();) {
        if (before[at] == after[at]) {
            ++at;
            continue;
        }
        std::size_t end = at;
        while (end < before.size() && before[end] != after[end])
            ++end;
        overwrites.push_back({offset + at, after.substr(at, end - at)});
        at = end;
    }
}

std::uint64_t Strip::bytesChanged() const {
    std::uint64_t all = 0;
    for (const Overwrite& each : overwrites)
        all += each.bytes.size() + each.zeros;
    return all;
}

bool Strip::write(WEKU::FileIO& file) const {
    const std::string block(65536, '\0');
    const auto put = [&](const std::string& bytes, std::uint64_t count) {
        return file.writeAll(reinterpret_cast<const unsigned char*>(bytes.data()), count);
    };
    for (const Overwrite& each : overwrites) {
        if (!file.seek_set(each.offset) || !put(each.bytes, each.bytes.size())) return false;
        for (std::uint64_t left = each.zeros; left > 0;) {
            const std::uint64_t piece = std::min<std::uint64_t>(left, block.size());
            if (!put(block, piece)) return false;
            left -= piece;
        }
    }
    return true;
}

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

Strip Strip::ofJpeg(const std::string& file, const Privacy::What& what) {
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
    Strip strip;
    strip.addDifference(0, file, after);
    return strip;
}

Strip Strip::ofDng(const std::string& file, const Privacy::What& what) {
    std::string after = file;
    Privacy::stripTiff(after, Privacy::TiffIn::dng, what);
    Strip strip;
    strip.addDifference(0, file, after);
    return strip;
}
