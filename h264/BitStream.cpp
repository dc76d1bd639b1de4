#include "h264/BitStream.h"

#include "support/Endian.h"
#include "support/Failure.h"

void BitStream::attach(const ByteArray& source) {
    data = source;
    taken = 0;
}

void BitStream::requireAligned() const {
    if (bitCount > 0) throw WEKU::Failure{"bits existed"};
}

const unsigned char* BitStream::take(std::uint64_t n) {
    if (n > data.length() - taken) throw WEKU::Failure{"no more data"};
    const unsigned char* first = data.data() + taken;
    taken += n;
    return first;
}

unsigned BitStream::next_bit() {
    if (bitCount == 0) {
        bitBuffer = *take(1);
        bitCount = 8;
    }
    --bitCount;
    return static_cast<unsigned>(bitBuffer >> bitCount & 1);
}

Bits BitStream::read_bits(int n) {
    Bits bits{0, static_cast<std::uint32_t>(n)};
    for (int i = 0; i < n; ++i)
        bits.value = bits.value << 1 | next_bit();
    return bits;
}

std::uint8_t BitStream::read8() {
    requireAligned();
    return *take(1);
}

std::uint16_t BitStream::read16n() {
    requireAligned();
    return WEKU::loadBig<std::uint16_t>(take(2));
}

void BitStream::read_bytes(unsigned long n, ByteArray& out) {
    requireAligned();
    const unsigned char* first = take(n);
    out = n == 0 ? ByteArray() : ByteArray(first, n);
}

void BitStream::write_bits(unsigned int value, int n) {
    bitBuffer = bitBuffer << n | value;
    bitCount += n;
    while (bitCount >= 8) {
        bitCount -= 8;
        const auto byte = static_cast<unsigned char>(bitBuffer >> bitCount);
        data.append(&byte, 1);
        bitBuffer &= (std::uint64_t{1} << bitCount) - 1;
    }
}

void BitStream::write8(unsigned char value) {
    requireAligned();
    data.append(&value, 1);
}

void BitStream::write16n(unsigned short value) {
    requireAligned();
    unsigned char both[2];
    WEKU::storeBig<std::uint16_t>(both, value);
    data.append(both, sizeof both);
}

void BitStream::write_bytes(const ByteArray& source) {
    requireAligned();
    data.append(source.data(), source.length());
}

void BitStream::flush_bits() {
    if (bitCount > 0) write_bits(0, 8 - bitCount);
}

void BitStream::bytes(ByteArray& out) {
    flush_bits();
    out = data;
    out.removeFront(taken);
}
