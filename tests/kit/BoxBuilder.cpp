#include "tests/kit/BoxBuilder.h"

namespace kit {

std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

std::string box(std::string_view code, std::string_view payload) {
    return boxClaiming(static_cast<std::uint32_t>(payload.size() + 8), code, payload);
}

std::string largeBox(std::string_view code, std::string_view payload) {
    return largeBoxClaiming(payload.size() + 16, code, payload);
}

std::string boxClaiming(std::uint32_t claimed, std::string_view code, std::string_view payload) {
    return u32(claimed).append(code).append(payload);
}

std::string largeBoxClaiming(std::uint64_t claimed, std::string_view code,
                             std::string_view payload) {
    return u32(1).append(code).append(u64(claimed)).append(payload);
}

std::string fullBox(std::string_view code, unsigned version, std::string_view payload) {
    return box(code, u8(version) + zeros(3) + std::string(payload));
}

std::string uuidBox(const MP4::UserType& type, std::string_view payload) {
    return box("uuid", std::string(type.begin(), type.end()).append(payload));
}

std::string mvhd(std::uint32_t timeScale, std::uint32_t duration, std::uint32_t created) {
    return fullBox("mvhd", 0,
                   u32(created) + u32(0) + u32(timeScale) + u32(duration) + zeros(76) + u32(2));
}

std::string tkhd(int width, int height) {
    const auto fixed = [](int pixels) { return u32(static_cast<std::uint32_t>(pixels) << 16); };
    return fullBox("tkhd", 0, zeros(8) + u32(1) + zeros(4 + 4 + 52) + fixed(width) + fixed(height));
}

std::string trackOf(const std::string& header, const std::string& entries,
                    const std::string& tables) {
    const std::string stsd = fullBox("stsd", 0, u32(1) + entries);
    return box("trak", header + box("mdia", box("minf", box("stbl", stsd + tables))));
}

std::string visualEntry(std::string_view code, int width, int height, std::string_view children) {
    return box(code, (zeros(6) + u16(1) + zeros(16) + u16(static_cast<std::uint64_t>(width)) +
                      u16(static_cast<std::uint64_t>(height)) + zeros(50))
                         .append(children));
}

}  // namespace kit
