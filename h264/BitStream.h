#pragma once

#include <cstdint>

#include "support/ByteArray.h"

/// The bits of one code: `length` bits, right-aligned in `value`.
struct Bits {
    std::uint32_t value = 0;
    std::uint32_t length = 0;

    bool operator==(const Bits&) const = default;
};

/// A first-in, first-out queue of bits, most significant bit of a byte first: writes append at the
/// back, reads take from the front. Meant for parameter sets, one queue for reading and another
/// for writing; the byte-wise operations need a stream that stands between two bytes. Failures
/// are thrown as WEKU::Failure ("no more data", "bits existed"); the bits taken before are gone.
class BitStream {
  public:
    BitStream() = default;
    BitStream(const BitStream&) = default;
    BitStream& operator=(const BitStream&) = default;
    virtual ~BitStream() = default;

    /// Replaces the held bytes by a copy of `source`; bits already taken from a byte stay pending.
    void attach(const ByteArray& source);

    /// The next bit, 0 or 1.
    unsigned next_bit();
    /// The next `n` bits, the first the most significant; below 1 nothing is taken.
    Bits read_bits(int n);
    /// The next whole byte.
    std::uint8_t read8();
    /// The next two bytes as a big-endian number.
    std::uint16_t read16n();
    /// Moves the next `n` bytes into `out`, whose contents they replace.
    void read_bytes(unsigned long n, ByteArray& out);

    /// Appends `n` bits (0 to 32); `value` must be below 2 to the power n, it is not masked.
    void write_bits(unsigned int value, int n);
    void write8(unsigned char value);
    void write16n(unsigned short value);
    void write_bytes(const ByteArray& source);
    /// Pads the last byte with zero bits.
    void flush_bits();

    /// Flushes, then replaces the contents of `out` by a copy of the bytes not yet taken.
    void bytes(ByteArray& out);

  private:
    void requireAligned() const;
    /// The start of the next `n` bytes, which count as taken.
    const unsigned char* take(std::uint64_t n);

    ByteArray data;
    std::uint64_t bitBuffer = 0;  ///< The pending bits, right-aligned.
    std::int32_t bitCount = 0;    ///< How many bits of `bitBuffer` are pending.
    /// How many bytes of `data` are taken. Moving the others down instead would cost the square
    /// of a hostile parameter set's length.
    std::uint64_t taken = 0;
};
