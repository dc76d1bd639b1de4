#include <array>

#include "mp4/HeaderBoxes.h"
#include "mp4/SampleTableBoxes.h"
#include "probe/VideoReader.h"
#include "support/Console.h"
#include "support/Endian.h"
#include "support/WideText.h"

namespace {

/// The handler type of a track's media: behind version, flags and a reserved word (ISO/IEC
/// 14496-12).
bool isVideo(const MP4::TRAK& track, const WEKU::FileIO& file) {
    constexpr std::uint64_t typeAt = 8;
    std::array<unsigned char, 4> type{};
    const auto* handler = track.first("mdia.hdlr");
    if (handler == nullptr) return false;
    file.readAt(handler->start + handler->headerLength() + typeAt, type.data(), type.size());
    return MP4::fourCCAt(type.data()) == MP4::fourCC("vide");
}

/// Width and height of a visual sample entry stand behind 24 of its 78 fixed bytes.
void readSize(const MP4::BOX& entry, const WEKU::FileIO& file, VideoFacts& facts) {
    constexpr std::uint64_t sizeAt = 24;
    std::array<unsigned char, 4> size{};
    if (entry.size() < entry.headerLength() + MP4::AVC1::fixedBytes) return;
    const std::uint64_t at = entry.start + entry.headerLength() + sizeAt;
    if (file.readAt(at, size.data(), size.size()) != size.size()) return;
    facts.width = WEKU::loadBig<std::uint16_t>(size.data());
    facts.height = WEKU::loadBig<std::uint16_t>(size.data() + 2);
}

float frameRate(const MP4::STTS& times, const MP4::MDHD& media) {
    double frames = 0;
    double duration = 0;
    for (const MP4::STTS::Entry& entry : times.entries) {
        frames += entry.sampleCount;
        duration += static_cast<double>(entry.sampleCount) * entry.sampleDelta;
    }
    return duration > 0 ? static_cast<float>(frames * media.timeScale / duration) : 0;
}

}  // namespace

bool VideoReader::describeHeaders(const MP4::Container& movie, const WEKU::FileIO& file,
                                  VideoFacts& facts) {
    const MP4::TRAK* video = nullptr;
    movie.findEach<MP4::TRAK>(MP4::path::track, [&](const MP4::TRAK& track) {
        if (video == nullptr && isVideo(track, file)) video = &track;
        return video == nullptr;
    });
    if (video == nullptr) {
        WEKU::Console::warn("describeSource: No video tracks found - %s",
                            WEKU::wchar::narrow(file.name()).c_str());
        facts.trouble = VideoFacts::Trouble::noTrack;
        return false;
    }
    const auto* media = video->first<MP4::MDHD>("mdia.mdhd");
    const auto* times = video->first<MP4::STTS>("mdia.minf.stbl.stts");
    if (media != nullptr && times != nullptr) facts.nominalFrameRate = frameRate(*times, *media);
    const auto* description = video->first<MP4::STSD>("mdia.minf.stbl.stsd");
    if (description != nullptr && !description->children.empty()) {
        readSize(*description->children.front(), file, facts);
    }
    return true;
}
