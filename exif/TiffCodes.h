#pragma once

#include <cstdint>

/// Numbers of TIFF 6.0, Exif 2.3 and the camera's maker note.
namespace Tiff {

/// Field types of an IFD entry, as far as they are interpreted.
namespace Type {
inline constexpr std::uint16_t byte = 1;
inline constexpr std::uint16_t ascii = 2;
inline constexpr std::uint16_t shortInt = 3;
inline constexpr std::uint16_t longInt = 4;
inline constexpr std::uint16_t rational = 5;
inline constexpr std::uint16_t undefined = 7;
inline constexpr std::uint16_t signedRational = 10;
}  // namespace Type

namespace Tag {
// IFD0
inline constexpr std::uint16_t make = 0x010F;
inline constexpr std::uint16_t model = 0x0110;
inline constexpr std::uint16_t orientation = 0x0112;
inline constexpr std::uint16_t xResolution = 0x011A;
inline constexpr std::uint16_t yResolution = 0x011B;
inline constexpr std::uint16_t resolutionUnit = 0x0128;
inline constexpr std::uint16_t software = 0x0131;
inline constexpr std::uint16_t dateTime = 0x0132;
inline constexpr std::uint16_t subIFDs = 0x014A;
inline constexpr std::uint16_t yCbCrPositioning = 0x0213;
inline constexpr std::uint16_t exifIFD = 0x8769;
inline constexpr std::uint16_t gpsIFD = 0x8825;
// Exif IFD
inline constexpr std::uint16_t exifVersion = 0x9000;
inline constexpr std::uint16_t dateTimeOriginal = 0x9003;
inline constexpr std::uint16_t dateTimeDigitized = 0x9004;
inline constexpr std::uint16_t offsetTime = 0x9010;
inline constexpr std::uint16_t offsetTimeOriginal = 0x9011;
inline constexpr std::uint16_t offsetTimeDigitized = 0x9012;
inline constexpr std::uint16_t componentsConfiguration = 0x9101;
inline constexpr std::uint16_t makerNote = 0x927C;
inline constexpr std::uint16_t subSecTime = 0x9290;
inline constexpr std::uint16_t subSecTimeOriginal = 0x9291;
inline constexpr std::uint16_t subSecTimeDigitized = 0x9292;
inline constexpr std::uint16_t flashpixVersion = 0xA000;
inline constexpr std::uint16_t colorSpace = 0xA001;
inline constexpr std::uint16_t pixelXDimension = 0xA002;
inline constexpr std::uint16_t pixelYDimension = 0xA003;
// GPS IFD
inline constexpr std::uint16_t gpsVersion = 0x0000;
inline constexpr std::uint16_t gpsLatitudeRef = 0x0001;
inline constexpr std::uint16_t gpsLatitude = 0x0002;
inline constexpr std::uint16_t gpsLongitudeRef = 0x0003;
inline constexpr std::uint16_t gpsLongitude = 0x0004;
inline constexpr std::uint16_t gpsAltitudeRef = 0x0005;
inline constexpr std::uint16_t gpsAltitude = 0x0006;
// SubIFDs[1] of a DNG
inline constexpr std::uint16_t stripOffsets = 0x0111;
inline constexpr std::uint16_t stripByteCounts = 0x0117;
// Maker IFD
inline constexpr std::uint16_t firmwareVersion = 0x0002;
inline constexpr std::uint16_t serialNumber = 0x0005;
inline constexpr std::uint16_t videoQuality = 0x1000;
inline constexpr std::uint16_t cameraIFD = 0x4001;
// Camera IFD
inline constexpr std::uint16_t projectionType = 0x0001;
inline constexpr std::uint16_t hdr = 0x0002;
inline constexpr std::uint16_t zenith = 0x0003;
inline constexpr std::uint16_t compass = 0x0004;
inline constexpr std::uint16_t autoAcceleration = 0x0005;
inline constexpr std::uint16_t zenithCorrection = 0x0007;
inline constexpr std::uint16_t threeRationals = 0x0109;
inline constexpr std::uint16_t stitchingAffineTable1 = 0x0201;
inline constexpr std::uint16_t stitchingAffineTable2 = 0x0202;
inline constexpr std::uint16_t stitchingConvertVersion = 0x0203;
inline constexpr std::uint16_t stitchingFishImgCenter = 0x0204;
inline constexpr std::uint16_t stitchingFishMovCenter = 0x0205;
inline constexpr std::uint16_t stitchingSamplingRate = 0x0206;
inline constexpr std::uint16_t videoStabilization = 0x1014;
}  // namespace Tag

}  // namespace Tiff
