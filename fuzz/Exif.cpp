#include <algorithm>
#include <vector>

#include "exif/CameraRecord.h"
#include "fuzz/kit/Fuzzing.h"

namespace {

using Bytes = std::vector<unsigned char>;

/// One setting is changed, or nothing is.
template <class Update>
void update(Bytes bytes, Update change) {
    const Bytes before = bytes;
    try {
        change(bytes.data(), bytes.size());
    } catch (WEKU::Failure) {
        fuzz::require(bytes == before, "a failed update changes nothing");
    }
    std::size_t first = 0, behind = bytes.size();
    while (first < behind && bytes[first] == before[first])
        ++first;
    while (behind > first && bytes[behind - 1] == before[behind - 1])
        --behind;
    fuzz::require(behind - first <= 12, "an update changes one entry");
}

void updateAll(const Bytes& bytes, std::uint8_t value) {
    update(bytes, [value](unsigned char* at, std::uint64_t size) {
        ExifParser::updateProjectionType(at, size, ExifParser::PROJECTION_TYPE{value});
    });
    update(bytes, [value](unsigned char* at, std::uint64_t size) {
        ExifParser::updateSphereAdjZenith(at, size, ExifParser::TOPBOTTOM_CORRECTION_TYPE{value});
    });
    update(bytes, [value](unsigned char* at, std::uint64_t size) {
        ExifParser::updateVideoStabilization(at, size, ExifParser::VIDEO_STABILIZATION{value});
    });
}

}  // namespace

/// A still's bytes, a maker note or a DNG, as the first byte says: record, dump and updates.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::uint8_t kind = input.take8();
    const std::uint8_t value = input.take8();
    const Bytes bytes(input.rest().begin(), input.rest().end());
    using Attach = void (ExifParser::*)(const unsigned char*, std::uint64_t);
    static constexpr Attach attaches[] = {&ExifParser::attachBytes, &ExifParser::attachKMKN,
                                          &ExifParser::attachDNG};
    ExifParser parser;
    ExifParser::ZELVA record;
    const auto attempt = [&](auto action) {
        try {
            action();
        } catch (WEKU::Failure) {
        }
    };
    attempt([&] { (parser.*attaches[kind % 3])(bytes.data(), bytes.size()); });
    attempt([&] { parser.readZEVLA(record); });
    attempt([&] { parser.dumpKMKN(); });
    record.dump();
    fuzz::require(record.model.size() <= bytes.size(), "texts are no longer than the file");
    updateAll(bytes, value);
    return 0;
}
