#include "builder/VideoSamples.h"

#include <algorithm>
#include <string_view>

#include "builder/Refusal.h"
#include "support/Failure.h"

namespace {

/// How many of the last bytes of a unit are zeros, of which it has none itself: a byte stream's,
/// which programs take along when they make samples of it.
std::uint64_t zerosBefore(const WEKU::FileIO& file, std::uint64_t end, std::uint64_t length) {
    unsigned char last[4] = {};
    const std::uint64_t count = std::min<std::uint64_t>(length, sizeof last);
    file.readAt(end - count, last, count);
    std::uint64_t zeros = 0;
    while (zeros < count && last[count - zeros - 1] == 0)
        ++zeros;
    return zeros;
}

}  // namespace

VideoSamples::VideoSamples(const MP4::Container& movie, const std::string& role) : movie(movie) {
    if (movie.videoTrack == nullptr) throw Refusal{role + " has no video track"};
    try {
        movie.open([&](WEKU::FileIO& opened) {
            MP4::BinFile reader(opened);
            table = MP4::SampleTable::read(movie, *movie.videoTrack, reader);
        });
        samples = table.samples();
    } catch (WEKU::Failure message) {
        throw Refusal{role + " cannot be read: " + message};
    }
    if (samples.empty()) throw Refusal{role + " has no video samples"};
    readCoding();
    shown = MP4::shownOrder(samples);
    frameOf.resize(shown.size());
    for (std::uint32_t frame = 0; frame < shown.size(); ++frame)
        frameOf[shown[frame]] = frame;
}

void VideoSamples::readCoding() {
    const auto* entries = movie.videoTrack->first<MP4::NestedBox>("mdia.minf.stbl.stsd");
    if (entries == nullptr || entries->children.empty()) return;
    constexpr std::uint64_t longestEntry = 1 << 16;
    const std::string entry = movie.payload(*entries->children.front(), longestEntry);
    const auto lengthAt = [&](const char* record, std::size_t field) {
        const std::size_t found = entry.find(record);
        if (found == std::string::npos || field >= entry.size() - found - 4) return 0U;
        return (static_cast<unsigned char>(entry[found + 4 + field]) & 3U) + 1;
    };
    lengthBytes = lengthAt("avcC", 4);
    if (lengthBytes != 0) return;
    lengthBytes = lengthAt("hvcC", 21);
    isHevc = true;
}

std::vector<VideoSamples::Unit> VideoSamples::unitsOf(const WEKU::FileIO& file, std::size_t sample,
                                                      Content content) const {
    const MP4::SampleTable::Sample& whole = samples[sample];
    if (content == Content::samples) return {{whole.offset, whole.size}};
    std::vector<Unit> units;
    std::uint64_t at = whole.offset;
    const std::uint64_t end = whole.offset + whole.size;
    while (end - at > lengthBytes) {
        unsigned char head[5] = {};
        file.readAt(at, head, lengthBytes + 1U);
        std::uint64_t length = 0;
        for (unsigned i = 0; i < lengthBytes; ++i)
            length = length << 8 | head[i];
        at += lengthBytes;
        length = std::min(length, end - at);
        const unsigned type = isHevc ? head[lengthBytes] >> 1 & 63U : head[lengthBytes] & 31U;
        const bool isPicture = isHevc ? type < 32 : type >= 1 && type <= 5;
        if (isPicture) units.push_back({at, length - zerosBefore(file, at + length, length)});
        at += length;
    }
    return units;
}

std::optional<SampleAlignment::Sequence> VideoSamples::sequence(Content content) const {
    if (content == Content::pictures && lengthBytes == 0) return {};
    SampleAlignment::Sequence sequence;
    movie.open([&](const WEKU::FileIO& file) {
        for (std::size_t i = 0; i < samples.size(); ++i) {
            std::uint64_t size = 0;
            for (const Unit& unit : unitsOf(file, i, content))
                size += unit.length;
            sequence.sizes.push_back(static_cast<std::uint32_t>(size));
        }
    });
    sequence.hash = [this, content](std::size_t sample) {
        std::string bytes;
        movie.open([&](const WEKU::FileIO& file) {
            for (const Unit& unit : unitsOf(file, sample, content)) {
                const std::size_t before = bytes.size();
                bytes.resize(before + unit.length);
                file.readAt(unit.offset, reinterpret_cast<unsigned char*>(bytes.data() + before),
                            unit.length);
            }
        });
        return std::uint64_t{std::hash<std::string_view>()(bytes)};
    };
    return sequence;
}

double VideoSamples::secondsOf(std::size_t sample) const {
    return static_cast<double>(samples[sample].shownAt() - table.shownFirst()) / table.timeScale +
           table.startsAfter();
}

double VideoSamples::seconds() const {
    return static_cast<double>(table.decodeTimeOf(table.sampleCount)) / table.timeScale;
}

double VideoSamples::frameSeconds() const {
    return seconds() / static_cast<double>(samples.size());
}

double VideoSamples::hidden() const {
    const std::int64_t ahead = table.shownFirst() - samples[shown.front()].shownAt();
    return static_cast<double>(std::max<std::int64_t>(ahead, 0)) / table.timeScale;
}
