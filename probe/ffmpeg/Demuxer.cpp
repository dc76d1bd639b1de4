#include "probe/ffmpeg/Demuxer.h"

#include <algorithm>

namespace {

constexpr std::uint64_t mebibyte = 1 << 20;
/// Small, because the bounds on memory and time are looked at when it is filled, and a hostile box
/// of 24 bytes can keep the demuxer busy for a second or make it take megabytes.
constexpr int bufferBytes = 512;

int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
    return AVERROR(EPERM);
}

}  // namespace

// A well-formed movie is read little more than once, while boxes that name the same places again
// and again could keep the demuxer reading for ever.
Demuxer::Demuxer(const SondexVideoSource& source, Meter& meter)
    : source(source),
      meter(meter),
      readsLeft(std::min(source.length, std::uint64_t{INT64_MAX} / 8) * 4 + 64 * mebibyte) {}

std::uint64_t Demuxer::largestAllocation(std::uint64_t length) {
    return std::min(length, 10 * mebibyte) * 24 + 12 * mebibyte;
}

Meter Demuxer::meterFor(std::uint64_t length) {
    constexpr std::uint64_t second = 1'000'000;
    return Meter(largestAllocation(length) + 36 * mebibyte,
                 second + std::min(length, 58 * mebibyte) * second / 2 / mebibyte);
}

std::uint64_t Demuxer::fetch(std::uint64_t offset, std::uint8_t* bytes, std::uint64_t count) {
    if (count > readsLeft) return 0;
    const std::uint64_t got = source.readAt(source.context, offset, bytes, count);
    readsLeft -= got;
    return got;
}

int Demuxer::read(void* self, std::uint8_t* bytes, int count) {
    auto& demuxer = *static_cast<Demuxer*>(self);
    return demuxer.deliver(bytes, static_cast<std::uint64_t>(count));
}

int Demuxer::deliver(std::uint8_t* bytes, std::uint64_t count) {
    count = std::min(count, source.length - position);
    if (count == 0) return AVERROR_EOF;
    if (meter.isExceeded()) return AVERROR(ENOMEM);
    std::uint64_t got = 0;
    const bool isAhead = position >= windowStart && position - windowStart < windowLength &&
                         count <= windowLength - (position - windowStart);
    if (count > bufferBytes && !isAhead) {
        got = fetch(position, bytes, count);
    } else {
        if (position < windowStart || position - windowStart >= windowLength) {
            windowStart = position;
            windowLength = fetch(position, window.data(),
                                 std::min<std::uint64_t>(window.size(), source.length - position));
        }
        const std::uint64_t skipped = position - windowStart;
        got = std::min(count, windowLength - skipped);
        std::copy_n(window.data() + skipped, got, bytes);
    }
    if (got == 0) return AVERROR(EIO);
    position += got;
    return static_cast<int>(got);
}

std::int64_t Demuxer::seek(void* self, std::int64_t offset, int whence) {
    auto& demuxer = *static_cast<Demuxer*>(self);
    if ((whence & AVSEEK_SIZE) != 0) return static_cast<std::int64_t>(demuxer.source.length);
    if ((whence & ~AVSEEK_FORCE) != SEEK_SET || offset < 0) return AVERROR(EINVAL);
    demuxer.position = std::min(static_cast<std::uint64_t>(offset), demuxer.source.length);
    return offset;
}

bool Demuxer::open() {
    auto* buffer = static_cast<unsigned char*>(av_malloc(bufferBytes));
    if (buffer == nullptr) return false;
    io.reset(avio_alloc_context(buffer, bufferBytes, 0, this, read, nullptr, seek));
    if (!io) {
        av_free(buffer);
        return false;
    }
    // Named, not probed: a picture or a playlist under a movie's name is no movie.
    static const AVInputFormat* const movie = av_find_input_format("mov");
    AVFormatContext* opening = movie != nullptr ? avformat_alloc_context() : nullptr;
    if (opening == nullptr) return false;
    opening->pb = io.get();
    // Packets come as they are stored: no parser is needed, nor time stamps.
    opening->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
    opening->io_open = refuseToOpen;
    const Libav::Bounded bounded(largestAllocation(source.length));
    // What the first picture is has nothing to do with edits; resolving them can take hours.
    AVDictionary* options = nullptr;
    av_dict_set(&options, "ignore_editlist", "1", 0);
    // Takes the context over, also when it fails.
    const int result = avformat_open_input(&opening, nullptr, movie, &options);
    av_dict_free(&options);
    if (result < 0) return false;
    format.reset(opening);
    return true;
}

AVStream* Demuxer::selectVideo() {
    AVStream* video = nullptr;
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        AVStream& stream = *format->streams[i];
        const bool wanted = video == nullptr && stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
                            (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
        if (wanted) {
            video = &stream;
        } else {
            stream.discard = AVDISCARD_ALL;
        }
    }
    selected = video;
    return video;
}

AVStream* Demuxer::openVideo(SondexVideoFacts& facts, SondexVideoOutcome& outcome) {
    if (!open()) {
        if (meter.isExceeded()) facts.refusal = sondexVideoTooCostly;
        outcome = sondexVideoUnreadable;
        return nullptr;
    }
    AVStream* const video = selectVideo();
    outcome = video != nullptr ? sondexVideoDescribed : sondexVideoNoTrack;
    if (video != nullptr) facts.codec = avcodec_get_name(video->codecpar->codec_id);
    return video;
}

bool Demuxer::nextPacket(AVPacket& packet) {
    const Libav::Bounded bounded(largestAllocation(source.length));
    for (;;) {
        av_packet_unref(&packet);
        if (av_read_frame(format.get(), &packet) < 0) return false;
        if (format->streams[packet.stream_index] != selected) continue;
        ++next;
        return true;
    }
}

void Demuxer::readFragments() {
    const Libav::Bounded bounded(largestAllocation(source.length));
    const Libav::Owned<AVPacket> packet(av_packet_alloc());
    // Packets of a track that is discarded are passed over unread.
    selected->discard = AVDISCARD_ALL;
    while (packet && av_read_frame(format.get(), packet.get()) >= 0)
        av_packet_unref(packet.get());
    selected->discard = AVDISCARD_DEFAULT;
    next = -1;
}

std::int64_t Demuxer::packetCount() const {
    return avformat_index_get_entries_count(selected);
}

std::int64_t Demuxer::keyPacketAt(std::int64_t decodingTime) const {
    return av_index_search_timestamp(selected, decodingTime, AVSEEK_FLAG_BACKWARD);
}

std::int64_t Demuxer::decodingTimeOf(std::int64_t packet) const {
    const AVIndexEntry* entry = avformat_index_get_entry(selected, static_cast<int>(packet));
    return entry != nullptr ? entry->timestamp : 0;
}

bool Demuxer::seekTo(std::int64_t packet) {
    if (packet == next) return true;
    if (packet < 0 || packet >= packetCount()) return false;
    constexpr int flags = AVSEEK_FLAG_BACKWARD | AVSEEK_FLAG_ANY;
    const std::int64_t time = decodingTimeOf(packet);
    // Of packets that share their time, this need not be the one that is wanted.
    next = av_index_search_timestamp(selected, time, flags);
    if (next < 0 || next > packet) return false;
    const Libav::Bounded bounded(largestAllocation(source.length));
    if (av_seek_frame(format.get(), selected->index, time, flags) < 0) return false;
    const Libav::Owned<AVPacket> passed(av_packet_alloc());
    while (passed && next < packet) {
        if (!nextPacket(*passed)) return false;
    }
    return passed != nullptr;
}
