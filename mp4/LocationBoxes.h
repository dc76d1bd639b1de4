#pragma once

#include <string>

#include "mp4/GPSInfo.h"
#include "mp4/MetadataBoxes.h"

/// The bytes of the boxes that tell where a movie was made.
namespace MP4 {

/// The location box of user data: the ISO 6709 text of latitude and longitude behind its length
/// and its language. Empty when the position lacks one of the two.
std::string xyzBox(const GPSInfo& position);

/// The camera's own box: the same text, with the altitude in metres where there is one.
std::string cameraPositionBox(const GPSInfo& position);

/// The location information box of 3GPP TS 26.244, without a name, with the role "shooting
/// location": 16.16 degrees and metres, and "earth". A position without an altitude is at 0 metres.
std::string lociBox(const GPSInfo& position);

/// Whether a location information box holds every field that its standard asks for, from its
/// payload. Readers of other makers refuse a whole movie for one that ends early.
bool isCompleteLoci(const std::string& payload);

/// A box of this type with the payload behind an 8-byte header, which must be able to hold it.
std::string boxOf(FourCC type, const std::string& payload);

}  // namespace MP4
