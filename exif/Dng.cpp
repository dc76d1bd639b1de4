#include <utility>

#include "exif/ExifParser.h"
#include "exif/TiffCodes.h"

void ExifParser::attachDNG(ByteArray&& bytes) {
    attachBytes(std::move(bytes));
    seekToKESTOMakerNote();

    seekToIFD0();
    const bool hasSubIFDs = find(Tiff::Tag::subIFDs, [&](std::uint16_t, std::uint16_t,
                                                         std::uint32_t count, std::uint32_t value) {
        if (count != 2) throw WEKU::Failure{"Invalid 0th SubIFDs. require length = 2"};
        position = tiffOffset + value;
        subIFDs[0] = read32();
        subIFDs[1] = read32();
    });
    if (!hasSubIFDs) throw WEKU::Failure{"SubIFDs(0x014A) not found."};

    const auto findStripLong = [&](std::uint16_t tag, std::uint32_t& out, WEKU::Failure invalid) {
        seekToSubIFD(1);
        return find(
            tag, [&](std::uint16_t, std::uint16_t type, std::uint32_t count, std::uint32_t value) {
                if (type != Tiff::Type::longInt || count != 1) throw invalid;
                out = value;
            });
    };
    const bool hasOffset =
        findStripLong(Tiff::Tag::stripOffsets, stripOffset, "Invalid StripOffSets(0x0111)");
    const bool hasByteCount = findStripLong(Tiff::Tag::stripByteCounts, stripByteCount,
                                            "Invalid StripByteCounts(0x0117)");
    if (!hasOffset || !hasByteCount) {
        throw WEKU::Failure{
            "SubIFDs[1] of StripOffSets(0x0111), StripByteCounts(0x0117) not found."};
    }

    const auto findTable = [&](std::uint16_t tag, std::uint32_t& tableOffset,
                               std::uint32_t& tableLength, WEKU::Failure invalid) {
        seekToZELVA();
        return find(
            tag, [&](std::uint16_t, std::uint16_t type, std::uint32_t count, std::uint32_t value) {
                if (type != Tiff::Type::undefined) throw invalid;
                tableOffset = value;
                tableLength = count;
            });
    };
    const bool hasTable1 = findTable(Tiff::Tag::stitchingAffineTable1, affineTable1Offset,
                                     affineTable1Length, "Invalid StitchingAffineTable1(0x0201)");
    const bool hasTable2 = findTable(Tiff::Tag::stitchingAffineTable2, affineTable2Offset,
                                     affineTable2Length, "Invalid StitchingAffineTable2(0x0202)");
    if (!hasTable1 || !hasTable2) {
        throw WEKU::Failure{
            "ReceptorIFD of StitchingAffineTable1(0x0201), StitchingAffineTable2(0x0202) not "
            "found."};
    }
}
