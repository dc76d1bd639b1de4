#include <cstring>

#include "exif/ExifParser.h"
#include "exif/TiffCodes.h"

namespace {

/// Fill bytes and segments that are walked over before the search for the Exif segment ends.
constexpr int maxMarkers = 32;

constexpr unsigned char exifIdentifier[6] = {'E', 'x', 'i', 'f', 0, 0};

}  // namespace

void ExifParser::refuseMakerNoteOnly() const {
    if (makerNoteOnly) throw WEKU::Failure{"Only KESTO Meta"};
}

bool ExifParser::seekToKnown(std::uint64_t offset) {
    if (offset == 0) return false;
    position = offset;
    return true;
}

void ExifParser::seekToIFD0() {
    refuseMakerNoteOnly();
    if (seekToKnown(ifd0Offset)) return;
    bigEndian = true;
    position = 0;
    if (read16() != 0xFFD8) throw WEKU::Failure{"SOI(0xFFD8) not found."};
    for (int markers = 0; markers < maxMarkers; ++markers) {
        const std::uint16_t marker = read16();
        if (marker < 0xFF00) throw WEKU::Failure{"Unknown marker."};
        if (marker == 0xFFD8) throw WEKU::Failure{"Invalid SOI(0xFFD8) found."};
        if (marker == 0xFFD9) throw WEKU::Failure{"Invalid EOI(0xFFD9) found."};
        if (marker == 0xFFDA) throw WEKU::Failure{"Invalid SOS(0xFFDA) found."};
        if (marker == 0xFFFF) continue;

        const std::uint64_t segment = position;
        const std::uint16_t segmentLength = read16();
        if (marker == 0xFFE1) {
            unsigned char identifier[sizeof exifIdentifier];
            read(identifier, sizeof identifier, position);
            position += sizeof identifier;
            if (std::memcmp(identifier, exifIdentifier, sizeof identifier) == 0) {
                if (!readTiffHeader()) throw WEKU::Failure{"Invalid TIFF-ID(0x002A)."};
                // Deliberate: this first time the cursor stays behind the header, wherever the
                // header says IFD0 is; in the cameras' files both are the same place.
                return;
            }
        }
        position = segment + segmentLength;
    }
    // Deliberate: no failure here. What is looked up next starts where the walk ended.
}

void ExifParser::follow(std::uint16_t tag, std::uint64_t& offset, WEKU::Failure notFound) {
    const bool found =
        find(tag, [&](std::uint16_t, std::uint16_t, std::uint32_t, std::uint32_t value) {
            position = offset = tiffOffset + value;
        });
    if (!found) throw notFound;
}

void ExifParser::seekToEXIF() {
    refuseMakerNoteOnly();
    if (seekToKnown(exifOffset)) return;
    seekToIFD0();
    follow(Tiff::Tag::exifIFD, exifOffset, "EXIF-IFD(0x8769) not found.");
}

void ExifParser::seekToMakerNote() {
    refuseMakerNoteOnly();
    if (seekToKnown(makerNoteOffset)) return;
    seekToEXIF();
    follow(Tiff::Tag::makerNote, makerNoteOffset, "MakerNote-IFD(0x927C) not found.");
}

void ExifParser::seekToKESTOMakerNote() {
    if (seekToKnown(kestoMakerNoteOffset)) return;
    seekToMakerNote();
    unsigned char signature[sizeof makerSignature];
    read(signature, sizeof signature, position);
    position += sizeof signature;
    if (std::memcmp(signature, makerSignature, sizeof signature) != 0) {
        throw WEKU::Failure{"Not a KESTO image."};
    }
    kestoMakerNoteOffset = position;
}

void ExifParser::seekToZELVA() {
    if (seekToKnown(zelvaOffset)) return;
    seekToKESTOMakerNote();
    follow(Tiff::Tag::cameraIFD, zelvaOffset, "ZELVA-IFD(0x4001) not found.");
}

void ExifParser::seekToSubIFD(int index) {
    if (index < 0 || index > 1 || subIFDs[index] == 0) {
        throw WEKU::Failure{"Only attachDNG() or No SubIFDs entry."};
    }
    position = tiffOffset + subIFDs[index];
}
