#include <algorithm>
#include <iterator>
#include <map>

#include "builder/Refusal.h"
#include "builder/Strip.h"
#include "exif/CameraRecord.h"
#include "mp4/ChunkOffsets.h"
#include "mp4/MetadataBoxes.h"
#include "support/Failure.h"

namespace {

/// What there is to overwrite in a movie.
class Movie {
  public:
    Movie(const MP4::Container& movie, const Privacy::What& what, Overwrites& strip)
        : movie(movie), what(what), strip(strip) {}

    void look() {
        movie.open([&](WEKU::FileIO& opened) {
            file = &opened;
            MP4::BinFile reader(opened);
            freeIsSpare = movie.first("meta.iloc") == nullptr;
            refuseMediaInSpare(reader);
            collectTexts();
            visit(*movie.root, reader);
        });
    }

  private:
    /// Longer boxes hold no texts.
    static constexpr std::uint64_t longestText = 1 << 24;

    static bool isSpare(MP4::FourCC type) {
        return type == MP4::fourCC("free") || type == MP4::fourCC("skip");
    }
    static bool isPosition(MP4::FourCC type) {
        return type == MP4::XYZ::code || type == MP4::LOCI::code || type == MP4::fourCC("@xyz");
    }
    static bool isMotion(MP4::FourCC type) {
        return type == MP4::fourCC("KDTB") || type == MP4::fourCC("KDTC") ||
               type == MP4::fourCC("KDTD") || type == MP4::fourCC("KDTG");
    }
    /// Boxes of numbers and media, in which nothing is looked for.
    static bool isMedia(MP4::FourCC type) {
        return type == MP4::fourCC("mdat") || type == MP4::fourCC("mdia") ||
               type == MP4::fourCC("moof") || type == MP4::fourCC("KATR");
    }

    /// Some writers keep samples in boxes that are called free.
    void refuseMediaInSpare(MP4::BinFile& reader) const {
        // By start, the end of each.
        std::map<std::uint64_t, std::uint64_t> spare;
        for (const char* path : {"free", "skip", "moov.free", "moov.skip", "moov.udta.free",
                                 "moov.udta.skip", "moov.trak.free", "moov.trak.skip"}) {
            movie.find(path, [&](MP4::BOX& box) {
                spare[box.start] = box.end();
                return true;
            });
        }
        const auto outside = [&](std::uint64_t offset, std::uint64_t) {
            const auto behind = spare.upper_bound(offset);
            return behind == spare.begin() || std::prev(behind)->second <= offset;
        };
        for (const char* tracks :
             {MP4::ChunkOffsets::movieTracks, MP4::ChunkOffsets::spatialTrack}) {
            if (!spare.empty() && !MP4::ChunkOffsets::all(*movie.root, tracks, reader, outside)) {
                throw Refusal{"its free boxes may hold media, or its tables cannot be read"};
            }
        }
    }

    std::string read(std::uint64_t begin, std::uint64_t length) const {
        std::string bytes(length, '\0');
        auto* raw = reinterpret_cast<unsigned char*>(bytes.data());
        if (file->readAt(begin, raw, length) != length) {
            throw Refusal{"it could not be read in full"};
        }
        return bytes;
    }
    /// What is behind the box's header, at most so much of it.
    std::string contents(const MP4::BOX& box, std::uint64_t most) const {
        const std::uint64_t begin = std::min(box.start + box.headerLength(), end(box));
        return read(begin, std::min(end(box) - begin, most));
    }

    /// The position and the serial number as they are written, to be found elsewhere as well.
    void collectTexts() {
        if (what.gps) {
            for (const char* path : {"moov.udta.\xA9xyz", "moov.udta.@xyz"}) {
                movie.find(path, [&](MP4::BOX& box) {
                    const std::string payload = contents(box, 512);
                    const std::size_t sign = payload.find_first_of("+-");
                    if (sign == std::string::npos) return true;
                    const std::string text = payload.substr(sign, payload.find('/', sign) - sign);
                    if (text.size() > 8) texts.push_back(text.substr(0, text.find('\0')));
                    return true;
                });
            }
        }
        const MP4::BOX* makerNote = movie.first(MP4::path::makerNote);
        if (!what.serial || makerNote == nullptr) return;
        const std::string payload = contents(*makerNote, longestText);
        ExifParser parser;
        ExifParser::ZELVA record;
        try {
            parser.attachKMKN(reinterpret_cast<const unsigned char*>(payload.data()),
                              payload.size());
            parser.readZEVLA(record);
        } catch (WEKU::Failure) {
            // What was decoded until then is kept.
        }
        const std::string serial = record.serial.substr(0, record.serial.find('\0'));
        if (serial.size() > 4) texts.push_back(serial);
    }

    void visit(const MP4::NestedBox& parent, MP4::BinFile& reader) {
        for (const auto& child : parent.children) {
            if (isMedia(child->type)) continue;
            const bool trackUserData = child->type == MP4::UDTA::code && !child->hasChild();
            if (trackUserData) {
                MP4::NestedBox boxes(*child, child->parent);
                reader.moveTo(child->start + child->headerLength());
                reader.budget = MP4::ParseBudget::forFile(reader.fileLength());
                boxes.parseBox(reader, reader.fileLength());
                visit(boxes, reader);
            } else if (child->hasChild() && child->type != MP4::fourCC("meta")) {
                visit(static_cast<const MP4::NestedBox&>(*child), reader);
            } else {
                lookAt(*child);
            }
        }
    }

    void lookAt(const MP4::BOX& box) {
        const bool tilt = box.type == MP4::UUID::code && box.depth == 0 &&
                          static_cast<const MP4::UUID&>(box).is(MP4::AXIS::_UUID);
        if ((what.gps && isPosition(box.type)) || (what.motion && (isMotion(box.type) || tilt))) {
            erase(box);
        } else if (isSpare(box.type) && freeIsSpare) {
            zero(box.start + box.headerLength(), end(box));
        } else if (!isMotion(box.type)) {
            changeText(box);
        }
    }

    std::uint64_t end(const MP4::BOX& box) const { return box.innermostEnd(movie.root->size()); }

    /// Makes the box a free one of zeros.
    void erase(const MP4::BOX& box) {
        strip.add(box.start + 4, "free");
        zero(box.start + box.headerLength(), end(box));
    }

    /// Adds what is not zero already.
    void zero(std::uint64_t begin, std::uint64_t end) {
        constexpr std::uint64_t longest = 65536;
        for (; begin < end; begin += std::min(longest, end - begin)) {
            const std::string block = read(begin, std::min(longest, end - begin));
            if (block.find_first_not_of('\0') == std::string::npos) continue;
            strip.addZeros(begin, block.size());
        }
    }

    void changeText(const MP4::BOX& box) {
        const std::uint64_t begin = box.start + box.headerLength();
        if (end(box) < begin || end(box) - begin > longestText) return;
        const std::string before = contents(box, longestText);
        std::string after = before;
        if (box.type == MP4::fourCC("KMKN")) {
            Privacy::stripTiff(after, Privacy::TiffIn::makerNoteBox, what);
        } else if (box.type == MP4::UUID::code || box.type == MP4::fourCC("XMP_") ||
                   box.type == MP4::fourCC("meta")) {
            Privacy::stripXmp(after, what);
            if (what.gps) Privacy::blankPositions(after);
        }
        for (const std::string& text : texts)
            Privacy::blankText(after, text);
        strip.addDifference(begin, before, after);
    }

    const MP4::Container& movie;
    const Privacy::What what;
    Overwrites& strip;
    WEKU::FileIO* file = nullptr;
    bool freeIsSpare = false;
    std::vector<std::string> texts;
};

}  // namespace

Overwrites Strip::ofMovie(const MP4::Container& movie, const Privacy::What& what) {
    Overwrites strip;
    if (movie.root) Movie(movie, what, strip).look();
    return strip;
}
