#pragma once

#include "h264/BitStream.h"

/// A bit queue with the Exp-Golomb codes of H.264 (ISO/IEC 14496-10, 9.1): k zeros, a one and k
/// bits stand for the code number one less than the value of the last k + 1 bits.
class GolombBitStream : public BitStream {
  public:
    /// The code of `v`. A code of more than 32 bits has leading zeros that `value` does not hold;
    /// that of 4294967295 (65 bits) has 33 bits behind them, of which `value` keeps the lower 32.
    static Bits encode(unsigned int v);
    /// The code number, or all ones where the bits are not one whole code.
    static unsigned int decode(const Bits& bits);

    /// Reads one code of at most 31 bits, so 65534 is the largest code number; a longer one
    /// throws "too log golomb sream".
    unsigned int read_golomb();
    /// Reads one code and maps its number 0, 1, 2, 3, 4 to 0, 0, 1, -1, 2.
    int read_golombs();

    /// Appends the code of `v`, of any length.
    void write_golomb(unsigned int v);
    /// Appends the code of the number to which 0, -1, 1, -2, 2 map: 0, 1, 2, 3, 4.
    void write_golombs(int v);
};
