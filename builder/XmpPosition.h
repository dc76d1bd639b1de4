#pragma once

#include <string>

#include "mp4/GPSInfo.h"

/// The XMP packet with this position in the place of the one that it states, in elements or
/// attributes; an altitude that the position lacks goes. A packet that states none, or a direction
/// alone, stays as it is.
std::string withPosition(std::string xmp, const GPSInfo& position);
