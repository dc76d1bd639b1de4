#pragma once

#include "mp4/BinFile.h"

/// The boxes that hold absolute file offsets and are not followed when bytes move. The tree shows
/// few of them, since it reads only what a camera writes.
namespace MP4::AbsoluteOffsets {

/// The type of the first box in the way of an edit that moves bytes, or 0: an item location
/// (`iloc`), auxiliary information (`saio`), a chunk-offset table outside the tracks whose tables
/// are shifted, and, if `dataMoves`, a movie fragment or an index of such (ISO/IEC 14496-12). When
/// the boxes cannot be read, are too many or nested too deeply to tell, "????".
FourCC inTheWay(BinFile& file, bool dataMoves);

/// True when there is none; otherwise says so on standard error.
bool keptBy(BinFile& file, bool dataMoves);

}  // namespace MP4::AbsoluteOffsets
