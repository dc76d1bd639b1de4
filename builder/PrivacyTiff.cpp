#include <algorithm>
#include <cstring>
#include <vector>

#include "builder/Privacy.h"
#include "exif/ExifParser.h"
#include "exif/TiffCodes.h"
#include "support/Endian.h"

namespace Privacy {
namespace {

constexpr std::uint16_t gpsIfd = 0x8825;
constexpr std::uint16_t xmpPacket = 0x02BC;
constexpr std::uint16_t bodySerial = 0xA431;
constexpr std::uint16_t lensSerial = 0xA435;
constexpr std::uint16_t cameraSerial = 0xC62F;

/// The IFDs of one structure, which are changed where they stand in `bytes`.
class Ifds {
  public:
    Ifds(std::string& bytes, TiffIn form) : bytes(bytes) {
        const auto* raw = reinterpret_cast<const unsigned char*>(bytes.data());
        if (form == TiffIn::dng) {
            const auto& head = ExifParser::DNG_dummyHeader;
            dummy = sizeof head;
            const std::string whole =
                std::string(reinterpret_cast<const char*>(head), dummy) + bytes;
            parser.attachBytes(reinterpret_cast<const unsigned char*>(whole.data()), whole.size());
        } else if (form == TiffIn::jpeg) {
            inJpeg = true;
            parser.attachBytes(raw, bytes.size());
        } else {
            parser.attachKMKN(raw, bytes.size());
        }
    }

    void strip(const What& what) {
        attempt([&] {
            parser.seekToIFD0();
            // A damaged entry may lead anywhere; in a JPEG nothing behind the segment is Exif's.
            if (inJpeg) {
                parser.position = parser.tiffOffset - 8;
                limit = std::min<std::uint64_t>(
                    limit, parser.position + WEKU::loadBig<std::uint16_t>(own(parser.position, 2)));
            }
        });
        // Where the walk found no Exif segment, what would be read as tags is the picture.
        if (inJpeg && parser.ifd0Offset == 0) return;
        // Each of the places may be missing, which leaves the others to be found.
        attempt([&] {
            parser.seekToIFD0();
            const std::uint64_t ifd0 = parser.ifd0Offset;
            if (what.serial) zeroValues(ifd0, {cameraSerial});
            for (const Entry& entry : entriesOf(ifd0)) {
                if (entry.tag == xmpPacket) stripPacket(entry, what);
            }
            if (what.gps) removeGps(ifd0);
        });
        if (!what.serial) return;
        attempt([&] {
            parser.seekToEXIF();
            zeroValues(parser.exifOffset, {bodySerial, lensSerial});
        });
        attempt([&] {
            parser.seekToKESTOMakerNote();
            zeroValues(parser.kestoMakerNoteOffset, {Tiff::Tag::serialNumber});
        });
    }

  private:
    struct Entry {
        std::uint16_t tag, type;
        std::uint32_t count, value;
        /// Where the entry begins, in the parser's bytes.
        std::uint64_t at;

        std::uint64_t length() const {
            static constexpr std::uint8_t widths[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
            return std::uint64_t{count} * (type < sizeof widths ? widths[type] : 0);
        }
    };

    template <class Action>
    static void attempt(Action action) {
        try {
            action();
        } catch (WEKU::Failure) {
        }
    }

    std::vector<Entry> entriesOf(std::uint64_t ifd) {
        std::vector<Entry> entries;
        parser.position = ifd;
        for (std::uint16_t left = parser.read16(); left > 0; --left) {
            Entry entry{0, 0, 0, 0, parser.position};
            parser.readEntry(entry.tag, entry.type, entry.count, entry.value);
            entries.push_back(entry);
        }
        return entries;
    }

    /// The bytes at an index of the parser's, as far as they are the caller's.
    char* own(std::uint64_t at, std::uint64_t length) {
        const std::uint64_t end = std::min(limit, bytes.size() + dummy);
        if (at < dummy || at > end || length > end - at) {
            throw WEKU::Failure{"Invalid position"};
        }
        return bytes.data() + (at - dummy);
    }

    std::uint64_t valueOf(const Entry& entry) const {
        return entry.length() > 4 ? parser.tiffOffset + entry.value : entry.at + 8;
    }

    void zeroValue(const Entry& entry) {
        constexpr std::uint64_t longest = 4096;
        if (entry.length() > longest) return;
        attempt([&] { std::memset(own(valueOf(entry), entry.length()), 0, entry.length()); });
    }

    void zeroValues(std::uint64_t ifd, std::initializer_list<std::uint16_t> tags) {
        for (const Entry& entry : entriesOf(ifd)) {
            if (std::find(tags.begin(), tags.end(), entry.tag) != tags.end()) zeroValue(entry);
        }
    }

    void stripPacket(const Entry& entry, const What& what) {
        const std::uint64_t length = entry.length();
        char* const place = own(valueOf(entry), length);
        std::string text(place, length);
        stripXmp(text, what);
        std::copy(text.begin(), text.end(), place);
    }

    void removeGps(std::uint64_t ifd0) {
        const std::vector<Entry> entries = entriesOf(ifd0);
        const auto leads = std::find_if(entries.begin(), entries.end(),
                                        [](const Entry& entry) { return entry.tag == gpsIfd; });
        if (leads == entries.end()) return;
        attempt([&] {
            const std::uint64_t gps = parser.tiffOffset + leads->value;
            const std::vector<Entry> fields = entriesOf(gps);
            for (const Entry& field : fields)
                zeroValue(field);
            const std::uint64_t length = 2 + 12 * fields.size();
            std::memset(own(gps, length), 0, length);
        });
        // The entries behind it and the link to the next IFD move up, so that the list ends where
        // its count says.
        const std::uint64_t behind = leads->at + 12, end = entries.back().at + 12 + 4;
        char* const place = own(leads->at, end - leads->at);
        std::memmove(place, place + 12, end - behind);
        std::memset(place + (end - behind), 0, 12);
        char* const count = own(ifd0, 2);
        const auto left = static_cast<std::uint16_t>(entries.size() - 1);
        if (parser.bigEndian) {
            WEKU::storeBig<std::uint16_t>(count, left);
        } else {
            WEKU::storeLittle<std::uint16_t>(count, left);
        }
    }

    std::string& bytes;
    ExifParser parser;
    std::uint64_t dummy = 0;
    bool inJpeg = false;
    /// Nothing from here on is changed, as an index of the parser's.
    std::uint64_t limit = UINT64_MAX;
};

}  // namespace

void stripTiff(std::string& bytes, TiffIn form, const What& what) {
    try {
        Ifds(bytes, form).strip(what);
    } catch (WEKU::Failure) {
        // No TIFF structure: nothing to take out.
    }
}

}  // namespace Privacy
