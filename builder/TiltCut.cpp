#include "builder/TiltCut.h"

#include <algorithm>
#include <memory>

#include "builder/AxisTiltStream.h"
#include "support/Endian.h"

namespace {

constexpr std::size_t headerLength = sizeof(AxisTiltStream::AXIS_HEADER_V2);
constexpr std::size_t recordLength = sizeof(AxisTiltStream::AXIS_V2);
constexpr std::size_t countOffset = 4;

std::uint32_t countOf(const std::string& stream) {
    return WEKU::loadBig<std::uint32_t>(&stream[countOffset]);
}

/// The stream cut to a range, by the one operation that knows both versions.
std::string trimmed(const std::string& stream, std::uint32_t start, std::uint32_t count) {
    auto* bytes = new unsigned char[stream.size()];
    std::copy(stream.begin(), stream.end(), bytes);
    const std::uint64_t length = AxisTiltStream::trim(bytes, stream.size(), start, count);
    const std::unique_ptr<unsigned char[]> owner(bytes);
    if (length == 0) return {};
    const std::uint64_t kept = WEKU::loadBig<std::uint32_t>(bytes + countOffset);
    const auto size = static_cast<std::size_t>(headerLength + recordLength * kept);
    return {reinterpret_cast<const char*>(bytes), size};
}

}  // namespace

std::string cutTilt(const std::string& stream, const std::vector<std::uint32_t>& frames,
                    std::uint32_t sourceFrames) {
    if (stream.size() < headerLength) return {};
    const std::uint64_t samples = countOf(stream);
    const std::uint64_t first = samples * frames.front() / sourceFrames;
    const std::uint64_t end = samples * (frames.back() + 1ULL) / sourceFrames;
    std::string kept = trimmed(stream, static_cast<std::uint32_t>(first),
                               static_cast<std::uint32_t>(std::max(end, first + 1) - first));
    const bool whole = frames.back() - frames.front() + 1U == frames.size();
    if (kept.empty() || whole || samples != sourceFrames) return kept;
    std::string picked = kept.substr(0, headerLength);
    for (const std::uint32_t frame : frames)
        picked.append(kept, headerLength + recordLength * (frame - frames.front()), recordLength);
    WEKU::storeBig<std::uint32_t>(&picked[countOffset], static_cast<std::uint32_t>(frames.size()));
    return picked;
}

std::string joinTilt(const std::string& first, const std::string& next) {
    std::string both = first + next.substr(std::min(next.size(), headerLength));
    const std::uint64_t count = (both.size() - headerLength) / recordLength;
    WEKU::storeBig<std::uint32_t>(&both[countOffset], static_cast<std::uint32_t>(count));
    return both;
}
