#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "support/ByteArray.h"

namespace H264 {

/// An AVCDecoderConfigurationRecord (ISO/IEC 14496-15, 5.3.3.1), the payload of an avcC box. The
/// reserved bits, which the standard wants to be ones, are kept as they are found.
struct AvcRecord {
    /// What records of the high profiles add.
    struct Extension {
        std::uint8_t reservedBeforeChromaFormat = 0x3F;  ///< 6 bits
        std::uint8_t chromaFormat = 1;
        std::uint8_t reservedBeforeLumaDepth = 0x1F;  ///< 5 bits
        std::uint8_t bitDepthLumaMinus8 = 0;
        std::uint8_t reservedBeforeChromaDepth = 0x1F;  ///< 5 bits
        std::uint8_t bitDepthChromaMinus8 = 0;
        std::vector<ByteArray> sequenceParameterSetExt;
    };

    /// Replaces all fields by those of a record. Throws a WEKU::Failure where it is too short for
    /// what it announces, of another version or without a sequence parameter set; the fields are
    /// then unspecified.
    void parse(const ByteArray& payload);

    /// The record as bytes: for an unchanged one the very bytes that were parsed. Throws a
    /// WEKU::Failure for what a record cannot hold: more than 31 sequence parameter sets, 255
    /// units of another kind, or 65535 bytes in one unit.
    ByteArray write() const;

    std::uint8_t configurationVersion = 1;
    std::uint8_t profileIndication = 0;
    std::uint8_t profileCompatibility = 0;  ///< The byte behind profile_idc in the sets.
    std::uint8_t levelIndication = 0;
    std::uint8_t reservedBeforeLengthSize = 0x3F;  ///< 6 bits
    std::uint8_t lengthSizeMinusOne = 3;
    std::uint8_t reservedBeforeSpsCount = 7;       ///< 3 bits
    std::vector<ByteArray> sequenceParameterSets;  ///< Whole NAL units, as all the lists here.
    std::vector<ByteArray> pictureParameterSets;
    /// Absent for other profiles, and for those writers that leave it out.
    std::optional<Extension> extension;
    ByteArray surplus;  ///< What follows, as it stands.
};

}  // namespace H264
