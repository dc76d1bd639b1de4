#include "tests/kit/SensorBoxes.h"

#include <algorithm>
#include <bit>

namespace kit {
namespace {

using namespace SensorRecords;

std::string ordered(std::string bytes, bool bigEndian) {
    if (!bigEndian) std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

template <class T>
std::string record(const T& sample, bool big) {
    const auto axis = [big](auto value) {
        if constexpr (sizeof value == 4) {
            return ordered(u32(std::bit_cast<std::uint32_t>(value)), big);
        } else {
            return ordered(u16(static_cast<std::uint16_t>(value)), big);
        }
    };
    const std::string padding(sizeof sample.x == 4 ? 4 : 2, '\xEE');
    return axis(sample.x) + axis(sample.y) + axis(sample.z) + padding +
           ordered(u64(sample.timestamp), big);
}

std::string record(unsigned long long time, bool big) {
    return ordered(u64(time), big);
}

}  // namespace

template <class T>
std::string streamBox(std::string_view code, const std::vector<T>& records,
                      const StreamLayout& layout) {
    const bool big = layout.bigEndian;
    std::string payload =
        ordered(u32(layout.count.value_or(static_cast<std::uint32_t>(records.size()))), big) +
        ordered(u16(layout.rate), big) + ordered(u16(layout.unitSize.value_or(sizeof(T))), big) +
        ordered(u16(layout.mark.value_or(big ? 0x3210 : 0x0123)), false) + zeros(6);
    for (const T& one : records)
        payload += record(one, big);
    return box(code, payload);
}

template std::string streamBox(std::string_view, const std::vector<Gyro>&, const StreamLayout&);
template std::string streamBox(std::string_view, const std::vector<Ecompass>&, const StreamLayout&);
template std::string streamBox(std::string_view, const std::vector<TopBottomCorrection>&,
                               const StreamLayout&);
template std::string streamBox(std::string_view, const std::vector<unsigned long long>&,
                               const StreamLayout&);

std::string sensorMovie(const std::string& boxes) {
    return box("moov", box("udta", boxes));
}

}  // namespace kit
