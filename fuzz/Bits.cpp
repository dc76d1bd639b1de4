#include <vector>

#include "fuzz/kit/Fuzzing.h"
#include "h264/GolombBitStream.h"
#include "support/Failure.h"

namespace {

ByteArray byteArray(std::string_view bytes) {
    return {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()};
}

/// Reads as the bytes say, against the same bits counted one by one.
void readAsTold(fuzz::Input input) {
    const std::size_t half = input.rest().size() / 2;
    fuzz::Input orders(reinterpret_cast<const std::uint8_t*>(input.rest().data()), half);
    const std::string_view bytes = input.rest().substr(half);
    const std::uint64_t all = 8 * std::uint64_t{bytes.size()};
    GolombBitStream stream;
    stream.attach(byteArray(bytes));
    std::uint64_t at = 0;
    const auto bitAt = [&](std::uint64_t i) {
        return static_cast<unsigned>(bytes[i / 8]) >> (7 - i % 8) & 1U;
    };
    try {
        while (!orders.rest().empty()) {
            const std::uint8_t order = orders.take8();
            if (order < 0x80) {
                const Bits bits = stream.read_bits(order % 33);
                for (std::uint32_t i = 0; i < bits.length; ++i, ++at) {
                    fuzz::require(
                        at < all && (bits.value >> (bits.length - 1 - i) & 1U) == bitAt(at),
                        "bits come in order");
                }
            } else if (order < 0xC0) {
                at += GolombBitStream::encode(stream.read_golomb()).length;
                fuzz::require(at <= all, "a code ends within the data");
            } else if (order < 0xD0) {
                stream.read8();
                at += 8;
            } else if (order < 0xE0) {
                stream.read16n();
                at += 16;
            } else {
                ByteArray taken;
                stream.read_bytes(order % 32, taken);
                fuzz::require(taken.length() == order % 32U, "as many bytes as asked for");
                at += 8 * taken.length();
            }
        }
    } catch (WEKU::Failure) {
        return;
    }
    fuzz::require(at <= all, "no more is read than there is");
}

struct Item {
    std::uint32_t value;
    int width;  ///< 0: an Exp-Golomb code.
};

/// What is written comes back.
void writeAndRead(fuzz::Input input) {
    std::vector<Item> items;
    GolombBitStream writer;
    while (input.rest().size() >= 3) {
        const int width = input.take8() % 33;
        std::uint32_t value = input.take16() * 0x10001U;
        if (width == 0) {
            value %= 65535;
            writer.write_golomb(value);
        } else {
            value >>= 32 - width;
            writer.write_bits(value, width);
        }
        items.push_back({value, width});
    }
    ByteArray bytes;
    writer.bytes(bytes);
    GolombBitStream reader;
    reader.attach(bytes);
    for (const auto& [value, width] : items) {
        const std::uint32_t read =
            width == 0 ? reader.read_golomb() : reader.read_bits(width).value;
        fuzz::require(read == value, "what is written comes back");
    }
}

}  // namespace

/// The bit queue with its Exp-Golomb codes.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::Input input(data, size);
    readAsTold(input);
    writeAndRead(input);
    return 0;
}
