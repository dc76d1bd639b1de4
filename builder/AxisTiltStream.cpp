#include "builder/AxisTiltStream.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "support/Console.h"
#include "support/Endian.h"
#include "support/Truncate.h"

namespace {

using AXIS_V2 = AxisTiltStream::AXIS_V2;
using AXIS_HEADER_V2 = AxisTiltStream::AXIS_HEADER_V2;

constexpr std::uint64_t headerLengthV1 = 16;
constexpr std::uint64_t recordLengthV1 = 12;
constexpr std::uint64_t headerLength = sizeof(AXIS_HEADER_V2);
constexpr std::uint64_t recordLength = sizeof(AXIS_V2);
constexpr std::uint64_t countOffset = 4;

/// 64 bits hold the length for any 32-bit count.
constexpr std::uint64_t lengthOf(std::uint64_t samples) {
    return headerLength + recordLength * samples;
}

std::uint32_t toDegrees(float radians) {
    // In single precision and in this order: another order changes whole degrees.
    const float degrees = radians * 180.0F / 3.1415927F;
    return static_cast<std::uint32_t>(WEKU::truncateToInt32(degrees));
}

void reportLength(const wchar_t* format, std::uint64_t required) {
    WEKU::Console::out(format, static_cast<long>(required));
}

}  // namespace

AXIS_V2 AxisTiltStream::AXIS_V2::networkOrderd(const AxisCompass& sample) {
    AXIS_V2 record;
    WEKU::storeBig(record.bytes, toDegrees(sample.angle0));
    WEKU::storeBig(record.bytes + 4, toDegrees(sample.angle1));
    WEKU::storeBig(record.bytes + 8, toDegrees(sample.angle2));
    WEKU::storeBig(record.bytes + 12, sample.value);
    return record;
}

void AxisTiltStream::AXIS_HEADER_V2::init(bool flag, std::uint64_t count,
                                          std::int32_t referenceIndex,
                                          const AxisCompass& reference) {
    std::memset(bytes, 0, sizeof bytes);
    WEKU::storeBig(bytes, std::uint16_t{2});
    // Deliberate: any flag but 0 is stored as 1; only `convert` carries other values on.
    WEKU::storeBig(bytes + 2, std::uint16_t{flag});
    WEKU::storeBig(bytes + countOffset, static_cast<std::uint32_t>(count));
    WEKU::storeBig(bytes + 8, static_cast<std::uint32_t>(referenceIndex));
    if (referenceIndex < 0) return;
    const AXIS_V2 record = AXIS_V2::networkOrderd(reference);
    std::memcpy(bytes + 12, record.bytes, sizeof record.bytes);
}

unsigned char* AxisTiltStream::toBinary(std::uint64_t& length) const {
    length = 0;
    if (samples.empty()) return nullptr;
    const AxisCompass reference =
        referenceIndex < 0 ? AxisCompass() : samples.at(static_cast<std::size_t>(referenceIndex));
    AXIS_HEADER_V2 header;
    header.init(flag != 0, samples.size(), referenceIndex, reference);

    auto* const stream = new unsigned char[lengthOf(samples.size())];
    length = lengthOf(samples.size());
    std::memcpy(stream, header.bytes, headerLength);
    unsigned char* next = stream + headerLength;
    for (const AxisCompass& sample : samples) {
        const AXIS_V2 record = AXIS_V2::networkOrderd(sample);
        std::memcpy(next, record.bytes, recordLength);
        next += recordLength;
    }
    return stream;
}

unsigned char* AxisTiltStream::convert(const unsigned char* stream, std::uint64_t& length) {
    // A stream that ends inside its count announces no samples, and is too short for those.
    const std::uint64_t samples =
        length < countOffset + 4 ? 0 : WEKU::loadBig<std::uint32_t>(stream + countOffset);
    const std::uint64_t required = headerLengthV1 + recordLengthV1 * samples;
    if (length != required) {
        reportLength(L"Not enough length for V1. required %ld.\n", required);
        return nullptr;
    }
    auto* const converted = new (std::nothrow) unsigned char[lengthOf(samples)]();
    if (converted == nullptr) return nullptr;
    length = lengthOf(samples);
    WEKU::storeBig(converted, std::uint16_t{2});
    std::memcpy(converted + 2, stream + 2, 10);
    for (std::uint64_t i = 0; i < samples; ++i) {
        std::memcpy(converted + headerLength + recordLength * i,
                    stream + headerLengthV1 + recordLengthV1 * i, recordLengthV1);
    }
    return converted;
}

std::uint64_t AxisTiltStream::trim(unsigned char*& stream, std::uint64_t length,
                                   std::uint32_t start, std::uint32_t count) {
    if (length < headerLength) return 0;
    if (WEKU::loadBig<std::uint16_t>(stream) == 1) {
        unsigned char* const converted = convert(stream, length);
        if (converted == nullptr) return 0;
        delete[] stream;
        stream = converted;
    }
    const std::uint32_t samples = WEKU::loadBig<std::uint32_t>(stream + countOffset);
    if (length != lengthOf(samples)) {
        reportLength(L"Not enough length. required %ld.\n", lengthOf(samples));
        return 0;
    }
    if (samples < start) return 0;
    const std::uint32_t kept = std::min(samples - start, count);
    if (kept == 0) return 0;

    std::memmove(stream + headerLength, stream + lengthOf(start), recordLength * kept);
    WEKU::storeBig(stream + countOffset, kept);
    // Deliberate: the length follows the count asked for, not the count kept.
    return lengthOf(count);
}
