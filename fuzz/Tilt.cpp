#include <cstring>

#include "builder/AxisTiltStream.h"
#include "fuzz/kit/Fuzzing.h"
#include "support/Endian.h"

namespace {

void trim(std::string_view bytes, std::uint32_t start, std::uint32_t count) {
    auto* stream = new unsigned char[bytes.size()];
    if (!bytes.empty()) std::memcpy(stream, bytes.data(), bytes.size());
    const std::uint64_t length = AxisTiltStream::trim(stream, bytes.size(), start, count);
    if (length != 0) {
        fuzz::require(length == 32 + 16 * std::uint64_t{count}, "the length follows the count");
        const auto kept = WEKU::loadBig<std::uint32_t>(stream + 4);
        fuzz::require(kept >= 1 && kept <= count, "the header counts what is there");
        // Every sample that is announced can be read.
        volatile unsigned char last = stream[32 + 16 * std::uint64_t{kept} - 1];
        (void)last;
    }
    delete[] stream;
}

void convert(std::string_view bytes) {
    const std::string copy(bytes);
    std::uint64_t length = copy.size();
    const unsigned char* converted =
        AxisTiltStream::convert(reinterpret_cast<const unsigned char*>(copy.data()), length);
    if (converted == nullptr) return;
    fuzz::require((copy.size() - 16) / 12 == (length - 32) / 16, "every sample is converted");
    delete[] converted;
}

void build(std::string_view bytes, std::int32_t reference) {
    AxisTiltStream stream;
    stream.samples.resize(bytes.size() / sizeof(AxisTiltStream::AxisCompass));
    if (stream.samples.empty()) return;
    std::memcpy(static_cast<void*>(stream.samples.data()), bytes.data(),
                stream.samples.size() * sizeof stream.samples[0]);
    stream.referenceIndex = reference % static_cast<std::int32_t>(stream.samples.size());
    std::uint64_t length = 0;
    unsigned char* binary = stream.toBinary(length);
    fuzz::require(length == 32 + 16 * stream.samples.size(), "the stream has every sample");
    const auto count = static_cast<std::uint32_t>(stream.samples.size());
    fuzz::require(AxisTiltStream::trim(binary, length, 0, count) == length,
                  "what is built can be trimmed");
    delete[] binary;
}

}  // namespace

/// The tilt stream: trim, convert and build from the same bytes.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::uint16_t start = input.take16();
    const std::uint16_t count = input.take16();
    trim(input.rest(), start, count);
    convert(input.rest());
    build(input.rest(), start - count);
    return 0;
}
