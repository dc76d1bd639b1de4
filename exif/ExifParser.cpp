#include <cstring>
#include <utility>

#include "exif/ExifParser.h"
#include "exif/TiffCodes.h"
#include "support/Endian.h"

namespace {

/// No camera's text comes near it; four texts that each are the whole file would be too much.
constexpr std::uint32_t longestText = 1 << 20;

ByteArray copyOf(const unsigned char* bytes, std::uint64_t size) {
    return bytes == nullptr ? ByteArray() : ByteArray(bytes, size);
}

}  // namespace

void ExifParser::attachBytes(const unsigned char* bytes, std::uint64_t size) {
    attachBytes(copyOf(bytes, size));
}

void ExifParser::attachKMKN(const unsigned char* bytes, std::uint64_t size) {
    attachKMKN(copyOf(bytes, size));
}

void ExifParser::attachDNG(const unsigned char* bytes, std::uint64_t size) {
    attachDNG(copyOf(bytes, size));
}

void ExifParser::attachBytes(ByteArray&& bytes) {
    buffer = std::move(bytes);
    length = buffer.length();
    position = 0;
    positionStack.clear();
    bigEndian = true;
    makerNoteOnly = false;
    tiffOffset = ifd0Offset = exifOffset = 0;
    makerNoteOffset = kestoMakerNoteOffset = zelvaOffset = 0;
    subIFDs[0] = subIFDs[1] = 0;
    stripOffset = stripByteCount = 0;
    affineTable1Offset = affineTable1Length = 0;
    affineTable2Offset = affineTable2Length = 0;
}

void ExifParser::attachKMKN(ByteArray&& bytes) {
    attachBytes(std::move(bytes));
    if (length >= sizeof makerSignature &&
        std::memcmp(buffer.data(), makerSignature, sizeof makerSignature) == 0) {
        makerNoteOnly = true;
        kestoMakerNoteOffset = sizeof makerSignature;
    } else if (!readTiffHeader()) {
        attachBytes(ByteArray());
        throw WEKU::Failure{"Invalid TIFF-ID(0x002A)."};
    }
}

bool ExifParser::readTiffHeader() {
    tiffOffset = position;
    bigEndian = true;
    // Deliberate: every word but "MM" means little-endian, not "II" alone.
    bigEndian = read16() == 0x4D4D;
    if (read16() != 42) return false;
    ifd0Offset = tiffOffset + read32();
    return true;
}

void ExifParser::read(unsigned char* dst, std::uint64_t count, std::uint64_t at) const {
    if (length < at || length - at < count) throw WEKU::Failure{"Invalid position"};
    if (count != 0) std::memcpy(dst, buffer.data() + at, count);
}

std::uint16_t ExifParser::read16() {
    unsigned char bytes[2];
    read(bytes, sizeof bytes, position);
    position += sizeof bytes;
    return bigEndian ? WEKU::loadBig<std::uint16_t>(bytes) : WEKU::loadLittle<std::uint16_t>(bytes);
}

std::uint32_t ExifParser::read32() {
    unsigned char bytes[4];
    read(bytes, sizeof bytes, position);
    position += sizeof bytes;
    return bigEndian ? WEKU::loadBig<std::uint32_t>(bytes) : WEKU::loadLittle<std::uint32_t>(bytes);
}

void ExifParser::readEntry(std::uint16_t& tag, std::uint16_t& type, std::uint32_t& count,
                           std::uint32_t& value) {
    tag = read16();
    type = read16();
    count = read32();
    value = read32();
}

bool ExifParser::enumEntry(std::uint16_t& remaining, const EntryVisitor& fn) {
    bool goOn = true;
    while (goOn && remaining != 0) {
        std::uint16_t tag, type;
        std::uint32_t count, value;
        readEntry(tag, type, count, value);
        goOn = fn(tag, type, count, value);
        --remaining;
    }
    return goOn;
}

bool ExifParser::findEntry(std::uint16_t& remaining, std::uint16_t tag, const EntryHandler& fn) {
    return !enumEntry(remaining, [&](std::uint16_t entryTag, std::uint16_t type,
                                     std::uint32_t count, std::uint32_t value) {
        if (entryTag != tag) return true;
        fn(entryTag, type, count, value);
        return false;
    });
}

bool ExifParser::find(std::uint16_t tag, const EntryHandler& fn) {
    std::uint16_t remaining = read16();
    return findEntry(remaining, tag, fn);
}

void ExifParser::pushPosition(std::uint64_t next) {
    positionStack.push_back(position);
    position = next;
}

void ExifParser::popPosition() {
    if (positionStack.empty()) return;
    position = positionStack.back();
    positionStack.pop_back();
}

void ExifParser::toString(std::uint16_t type, std::uint32_t count, std::uint32_t value,
                          std::string& out) const {
    if ((type != Tiff::Type::ascii && type != Tiff::Type::undefined) || count < 5) {
        throw WEKU::Failure{"Invalid Type: ASCII[>4] or UNDEF[>4] required."};
    }
    const std::uint64_t at = tiffOffset + value;
    // Before the text is made: a count of 4 GiB costs nothing when the bytes are not there.
    if (length < at || length - at < count) throw WEKU::Failure{"Invalid position"};
    if (count > longestText) throw WEKU::Failure{"Text is too long."};
    out.assign(reinterpret_cast<const char*>(buffer.data() + at), count);
}

std::uint16_t ExifParser::toUINT16(std::uint32_t value) const {
    // Deliberate: little-endian data is refused, since the maker's notes are big-endian; the
    // spelling is part of the message.
    if (!bigEndian) throw WEKU::Failure{"bigEndian reqired."};
    return static_cast<std::uint16_t>(value >> 16);
}
