#include "exif/ExifParser.h"
#include "exif/TiffCodes.h"
#include "support/Console.h"
#include "support/Endian.h"

namespace {

/// The camera IFD of a maker-note payload: looked up in a copy, written in the caller's bytes.
class CameraIfdPatch {
  public:
    CameraIfdPatch(unsigned char* bytes, std::uint64_t size) : bytes(bytes) {
        parser.attachKMKN(bytes, size);
    }

    /// Stands behind the entry `tag`, which must have the form given; false when there is none.
    bool locate(std::uint16_t tag, std::uint16_t type, std::uint32_t count) {
        parser.seekToZELVA();
        return parser.find(tag, [&](std::uint16_t, std::uint16_t entryType,
                                    std::uint32_t entryCount, std::uint32_t) {
            if (entryType != type || entryCount != count) throw WEKU::Failure{"invalid entry"};
        });
    }

    /// Turns the entry in front of the cursor into a SHORT[1] named `tag`.
    void storeEntry(std::uint16_t tag, std::int32_t value) {
        unsigned char* entry = bytes + parser.position - 12;
        store<std::uint16_t>(entry, tag);
        store<std::uint16_t>(entry + 2, Tiff::Type::shortInt);
        store<std::uint32_t>(entry + 4, 1);
        // Deliberate: always the upper half, in little-endian data too, where a reader looks for
        // an inline SHORT in the lower.
        store<std::uint32_t>(entry + 8, static_cast<std::uint32_t>(value) << 16);
    }

  private:
    template <typename T>
    void store(unsigned char* at, T value) const {
        if (parser.bigEndian) {
            WEKU::storeBig<T>(at, value);
        } else {
            WEKU::storeLittle<T>(at, value);
        }
    }

    ExifParser parser;
    unsigned char* bytes;
};

/// Runs an update; whatever makes it fail, its callers see `message`.
template <typename Update>
void orFail(WEKU::Failure message, Update update) {
    try {
        update();
    } catch (WEKU::Failure) {
        throw message;
    }
}

void overrideShort(unsigned char* bytes, std::uint64_t size, std::uint16_t tag,
                   std::int32_t value) {
    CameraIfdPatch patch(bytes, size);
    if (patch.locate(tag, Tiff::Type::shortInt, 1)) patch.storeEntry(tag, value);
}

}  // namespace

void ExifParser::updateProjectionType(unsigned char* bytes, std::uint64_t size,
                                      PROJECTION_TYPE type) {
    orFail("ProjectionType override failed.",
           [&] { overrideShort(bytes, size, Tiff::Tag::projectionType, type); });
}

void ExifParser::updateSphereAdjZenith(unsigned char* bytes, std::uint64_t size,
                                       TOPBOTTOM_CORRECTION_TYPE mode) {
    orFail("SphereAdjZenith override failed.",
           [&] { overrideShort(bytes, size, Tiff::Tag::zenithCorrection, mode); });
}

void ExifParser::updateVideoStabilization(unsigned char* bytes, std::uint64_t size,
                                          VIDEO_STABILIZATION mode) {
    if (mode == VIDEO_STABILIZATION_UNSET || mode == VIDEO_STABILIZATION_OFF) return;
    orFail("VideoStabilization override failed.", [&] {
        using namespace Tiff;
        CameraIfdPatch patch(bytes, size);
        if (patch.locate(Tag::videoStabilization, Type::shortInt, 1)) {
            patch.storeEntry(Tag::videoStabilization, mode);
        } else if (patch.locate(Tag::threeRationals, Type::signedRational, 3)) {
            // Deliberate: the entry keeps its place, which leaves the IFD unsorted, and its
            // rationals stay in the file, unreferenced: nothing may change size.
            patch.storeEntry(Tag::videoStabilization, mode);
            WEKU::Console::out(L"Overwrite VideoStabilization(%04x) into %04x.\n",
                               unsigned{Tag::videoStabilization}, unsigned{Tag::threeRationals});
        }
    });
}
