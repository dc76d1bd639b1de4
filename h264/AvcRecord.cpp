#include "h264/AvcRecord.h"

#include "h264/BitStream.h"
#include "support/Failure.h"

namespace H264 {

namespace {

std::uint8_t readBits(BitStream& stream, int n) {
    return static_cast<std::uint8_t>(stream.read_bits(n).value);
}

void readUnits(BitStream& stream, unsigned count, std::vector<ByteArray>& units) {
    for (unsigned i = 0; i < count; ++i) {
        const std::uint16_t length = stream.read16n();
        stream.read_bytes(length, units.emplace_back());
    }
}

/// The count goes into `countBits` bits, which end a byte.
void writeUnits(BitStream& stream, int countBits, const std::vector<ByteArray>& units) {
    if (units.size() >> countBits != 0) {
        throw WEKU::Failure{"too many parameter sets for one record"};
    }
    stream.write_bits(static_cast<unsigned>(units.size()), countBits);
    for (const ByteArray& unit : units) {
        if (unit.length() > 0xFFFF) throw WEKU::Failure{"a parameter set exceeds 65535 bytes"};
        stream.write16n(static_cast<std::uint16_t>(unit.length()));
        stream.write_bytes(unit);
    }
}

bool hasExtension(std::uint8_t profile) {
    return profile != 66 && profile != 77 && profile != 88;
}

AvcRecord::Extension readExtension(BitStream& stream) {
    AvcRecord::Extension extension;
    extension.reservedBeforeChromaFormat = readBits(stream, 6);
    extension.chromaFormat = readBits(stream, 2);
    extension.reservedBeforeLumaDepth = readBits(stream, 5);
    extension.bitDepthLumaMinus8 = readBits(stream, 3);
    extension.reservedBeforeChromaDepth = readBits(stream, 5);
    extension.bitDepthChromaMinus8 = readBits(stream, 3);
    readUnits(stream, stream.read8(), extension.sequenceParameterSetExt);
    return extension;
}

void writeExtension(BitStream& stream, const AvcRecord::Extension& extension) {
    stream.write_bits(extension.reservedBeforeChromaFormat, 6);
    stream.write_bits(extension.chromaFormat, 2);
    stream.write_bits(extension.reservedBeforeLumaDepth, 5);
    stream.write_bits(extension.bitDepthLumaMinus8, 3);
    stream.write_bits(extension.reservedBeforeChromaDepth, 5);
    stream.write_bits(extension.bitDepthChromaMinus8, 3);
    writeUnits(stream, 8, extension.sequenceParameterSetExt);
}

}  // namespace

void AvcRecord::parse(const ByteArray& payload) {
    constexpr std::uint64_t headerLength = 6;
    if (payload.length() < headerLength) throw WEKU::Failure{"the record is too short"};
    *this = {};
    BitStream stream;
    stream.attach(payload);
    configurationVersion = stream.read8();
    if (configurationVersion != 1) throw WEKU::Failure{"the record is of an unknown version"};
    profileIndication = stream.read8();
    profileCompatibility = stream.read8();
    levelIndication = stream.read8();
    reservedBeforeLengthSize = readBits(stream, 6);
    lengthSizeMinusOne = readBits(stream, 2);
    reservedBeforeSpsCount = readBits(stream, 3);
    const unsigned spsCount = readBits(stream, 5);
    if (spsCount == 0) throw WEKU::Failure{"the record holds no sequence parameter set"};
    try {
        readUnits(stream, spsCount, sequenceParameterSets);
        readUnits(stream, stream.read8(), pictureParameterSets);
    } catch (WEKU::Failure) {
        throw WEKU::Failure{"the record ends inside its parameter sets"};
    }
    if (hasExtension(profileIndication)) {
        BitStream ahead = stream;
        try {
            extension = readExtension(ahead);
            stream = ahead;
        } catch (WEKU::Failure) {
            // Not an extension: the bytes stay surplus.
        }
    }
    stream.bytes(surplus);
}

ByteArray AvcRecord::write() const {
    BitStream stream;
    stream.write8(configurationVersion);
    stream.write8(profileIndication);
    stream.write8(profileCompatibility);
    stream.write8(levelIndication);
    stream.write_bits(reservedBeforeLengthSize, 6);
    stream.write_bits(lengthSizeMinusOne, 2);
    stream.write_bits(reservedBeforeSpsCount, 3);
    writeUnits(stream, 5, sequenceParameterSets);
    writeUnits(stream, 8, pictureParameterSets);
    if (extension) writeExtension(stream, *extension);
    stream.write_bytes(surplus);
    ByteArray payload;
    stream.bytes(payload);
    return payload;
}

}  // namespace H264
