#include "h264/EmulationPrevention.h"

namespace H264 {

ByteArray unescape(const ByteArray& nalUnit) {
    ByteArray plain;
    plain.setLength(nalUnit.length());
    std::uint64_t length = 0;
    int zeros = 0;
    for (std::uint64_t i = 0; i < nalUnit.length(); ++i) {
        const unsigned char byte = nalUnit.data()[i];
        if (zeros == 2 && byte == 3) {
            zeros = 0;
            continue;
        }
        zeros = byte != 0 ? 0 : zeros < 2 ? zeros + 1 : 2;
        plain.data()[length++] = byte;
    }
    plain.setLength(length);
    return plain;
}

ByteArray escape(const ByteArray& plain) {
    ByteArray nalUnit;
    nalUnit.setLength(plain.length() + plain.length() / 2);
    std::uint64_t length = 0;
    int zeros = 0;
    for (std::uint64_t i = 0; i < plain.length(); ++i) {
        const unsigned char byte = plain.data()[i];
        if (zeros == 2 && byte <= 3) {
            nalUnit.data()[length++] = 3;
            zeros = 0;
        }
        zeros = byte != 0 ? 0 : zeros + 1;
        nalUnit.data()[length++] = byte;
    }
    nalUnit.setLength(length);
    return nalUnit;
}

}  // namespace H264
