#pragma once

#include "support/ByteArray.h"

/// The escape of NAL units (ISO/IEC 14496-10, 7.4.1): inside one, two zero bytes are never followed
/// by a byte below 4; a 3 is put between them.
namespace H264 {

/// The bytes without the emulation prevention bytes.
ByteArray unescape(const ByteArray& nalUnit);

/// The bytes with emulation prevention bytes wherever the standard needs them. The last byte must
/// not be zero, as it never is where trailing bits end the data.
ByteArray escape(const ByteArray& plain);

}  // namespace H264
