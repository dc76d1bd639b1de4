#include "probe/ffmpeg/PictureDecoder.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr int mostPackets = 600;
/// What all pictures that are alive at once may take.
constexpr std::uint64_t mostBytes = std::uint64_t{1} << 30;
/// Pixels that a decoder may walk over without looking at the meter.
constexpr std::int64_t mostWalked = 4 * sondexVideoMostPixels;

/// Looked for once, among hundreds.
template <AVCodecID>
const AVCodec* named(const char* name) {
    static const AVCodec* const found = avcodec_find_decoder_by_name(name);
    return found;
}

/// libav has hundreds of decoders, most of which nobody attacks but those who attack us. These are
/// what cameras record, H.264, HEVC, MPEG-4 and Motion JPEG, what stitching programs write for
/// further editing, ProRes, and what the web makes of it, AV1, whose decoder browsers rely on; by
/// name, because an identifier may also stand for drivers of devices.
const AVCodec* decoderOf(AVCodecID codec) {
    switch (codec) {
        case AV_CODEC_ID_H264:
            return named<AV_CODEC_ID_H264>("h264");
        case AV_CODEC_ID_HEVC:
            return named<AV_CODEC_ID_HEVC>("hevc");
        case AV_CODEC_ID_MPEG4:
            return named<AV_CODEC_ID_MPEG4>("mpeg4");
        case AV_CODEC_ID_MJPEG:
            return named<AV_CODEC_ID_MJPEG>("mjpeg");
        case AV_CODEC_ID_PRORES:
            return named<AV_CODEC_ID_PRORES>("prores");
        case AV_CODEC_ID_AV1:
            return named<AV_CODEC_ID_AV1>("libdav1d");
        default:
            return nullptr;
    }
}

/// A packet of AV1 may hold thousands of pictures that are not shown, and nothing looks at the
/// meter inside its decoder; the filter hands them out one by one.
Libav::Owned<AVBSFContext> splitterOf(const AVCodecParameters& parameters) {
    AVBSFContext* splitter = nullptr;
    if (av_bsf_alloc(av_bsf_get_by_name("av1_frame_split"), &splitter) < 0) return {};
    Libav::Owned<AVBSFContext> owned(splitter);
    if (avcodec_parameters_copy(splitter->par_in, &parameters) < 0) return {};
    if (av_bsf_init(splitter) < 0) return {};
    return owned;
}

std::int64_t countOf(std::string_view mark, std::string_view bytes) {
    std::int64_t count = 0;
    for (auto at = bytes.find(mark); at != bytes.npos; at = bytes.find(mark, at + mark.size())) {
        ++count;
    }
    return count;
}

/// NAL units of H.264 with a length ahead of each, as the record in `parameters` announces them
/// (ISO/IEC 14496-15).
std::int64_t countUnits(std::string_view bytes, const AVCodecParameters& parameters) {
    if (parameters.extradata_size < 7 || parameters.extradata[0] != 1) return 0;
    const std::size_t width = (parameters.extradata[4] & 3U) + 1;
    std::int64_t count = 0;
    while (bytes.size() > width) {
        std::size_t length = width;
        for (std::size_t i = 0, value = 0; i < width; ++i) {
            value = value << 8 | static_cast<unsigned char>(bytes[i]);
            length = width + value;
        }
        bytes.remove_prefix(std::min(length, bytes.size()));
        ++count;
    }
    return count;
}

/// How often at most a packet may have its whole picture walked over with no call to this class in
/// between: by a dozen bytes each, a slice of H.264 or a scan of a progressive JPEG.
std::int64_t passesOf(const AVPacket& packet, const AVCodecParameters& parameters) {
    using namespace std::string_view_literals;
    const std::string_view bytes(reinterpret_cast<const char*>(packet.data),
                                 static_cast<std::size_t>(packet.size));
    switch (parameters.codec_id) {
        case AV_CODEC_ID_H264:
            return countUnits(bytes, parameters) + countOf("\0\0\1"sv, bytes);
        case AV_CODEC_ID_MJPEG:
            return countOf("\xFF\xDA", bytes);
        default:
            return 0;
    }
}

}  // namespace

bool PictureDecoder::fits(std::int64_t width, std::int64_t height) {
    // Both come as 32-bit numbers, so the product cannot overflow.
    if (width * height <= sondexVideoMostPixels) return true;
    tooLarge = true;
    return false;
}

/// The sample entry may claim any size; this is where the decoder asks for what the coded data
/// really needs, before anything of that size exists.
int PictureDecoder::provideBuffer(AVCodecContext* decoder, AVFrame* frame, int flags) {
    auto& self = *static_cast<PictureDecoder*>(decoder->opaque);
    const std::int64_t pixels = std::int64_t{frame->width} * frame->height;
    if (!self.fits(frame->width, frame->height)) return AVERROR(EINVAL);
    if (!self.isWatched && self.passes * pixels > mostWalked) {
        self.isCrowded = true;
        return AVERROR(EINVAL);
    }
    const auto format = static_cast<AVPixelFormat>(frame->format);
    const int bytes = av_image_get_buffer_size(format, frame->width, frame->height, 1);
    if (bytes < 0 || self.meter.isExceeded(static_cast<std::uint64_t>(bytes))) {
        return AVERROR(ENOMEM);
    }
    return avcodec_default_get_buffer2(decoder, frame, flags);
}

int PictureDecoder::decodeSlices(AVCodecContext* decoder, int (*decode)(AVCodecContext*, void*),
                                 void* slices, int* results, int count, int size) {
    if (static_cast<PictureDecoder*>(decoder->opaque)->meter.isExceeded()) return AVERROR(ENOMEM);
    return avcodec_default_execute(decoder, decode, slices, results, count, size);
}

SondexVideoRefusal PictureDecoder::refusal() {
    if (foreign) return sondexVideoForeignCodec;
    if (tooLarge) return sondexVideoTooLarge;
    return meter.isExceeded() || (isCrowded && !isWatched) ? sondexVideoTooCostly
                                                           : sondexVideoNotRefused;
}

bool PictureDecoder::open() {
    const AVCodecParameters& parameters = *stream.codecpar;
    if (!fits(parameters.width, parameters.height)) return false;
    const AVCodec* const codec = decoderOf(parameters.codec_id);
    foreign = codec == nullptr;
    if (foreign) return false;
    decoder.reset(avcodec_alloc_context3(codec));
    frame.reset(av_frame_alloc());
    if (!decoder || !frame) return false;
    if (avcodec_parameters_to_context(decoder.get(), &parameters) < 0) return false;
    decoder->pkt_timebase = stream.time_base;
    decoder->opaque = this;
    decoder->get_buffer2 = provideBuffer;
    // One picture gives further threads nothing to do but be started. But only with two of them
    // does the H.264 decoder have its slices decoded from outside, which then leaves them without
    // work.
    decoder->thread_type = FF_THREAD_SLICE;
    isWatched = isWatched || (aim == Aim::show && parameters.codec_id == AV_CODEC_ID_H264);
    decoder->thread_count = isWatched ? 2 : 1;
    if (aim == Aim::check) decoder->skip_loop_filter = AVDISCARD_ALL;
    decoder->error_concealment = 0;
    // A picture that is held back for what it refers to would end the decoder's output.
    if (aim == Aim::show) decoder->flags |= AV_CODEC_FLAG_OUTPUT_CORRUPT;
    const Libav::Bounded bounded(mostBytes);
    if (parameters.codec_id == AV_CODEC_ID_AV1) {
        decoder->max_pixels = sondexVideoMostPixels / 4;
        splitter = splitterOf(parameters);
        if (!splitter) return false;
    }
    if (avcodec_open2(decoder.get(), codec, nullptr) != 0) return false;
    decoder->execute = decodeSlices;
    return true;
}

bool PictureDecoder::takeReady(const Take& take) {
    const Libav::Bounded bounded(mostBytes);
    while (avcodec_receive_frame(decoder.get(), frame.get()) == 0) {
        if (take(*frame)) return true;
    }
    return false;
}

void PictureDecoder::decodeUnreferenced(bool wanted) {
    // Of the other codecs, some have layers in which such a picture is referred to all the same.
    if (decoder->codec_id != AV_CODEC_ID_H264) return;
    decoder->skip_frame = wanted ? AVDISCARD_DEFAULT : AVDISCARD_NONREF;
}

bool PictureDecoder::decode(const AVPacket* packet, const Take& take) {
    passes = packet != nullptr ? passesOf(*packet, *stream.codecpar) : 0;
    // A packet that is refused is skipped, as a player would.
    avcodec_send_packet(decoder.get(), packet);
    if (takeReady(take)) return true;
    if (!isCrowded || isWatched || decoder->codec_id != AV_CODEC_ID_H264) return false;
    isWatched = true;
    return open() && decode(packet, take);
}

bool PictureDecoder::feed(const AVPacket* packet, const Take& take) {
    const Libav::Bounded bounded(mostBytes);
    if (!splitter || packet == nullptr) return decode(packet, take);
    const Libav::Owned<AVPacket> part(av_packet_clone(packet));
    if (!part || av_bsf_send_packet(splitter.get(), part.get()) < 0) return false;
    bool done = false;
    while (!done && mayGoOn() && av_bsf_receive_packet(splitter.get(), part.get()) == 0) {
        done = decode(part.get(), take);
        av_packet_unref(part.get());
    }
    av_bsf_flush(splitter.get());
    return done;
}

const AVFrame* PictureDecoder::decodeFirst(Demuxer& demuxer) {
    meter.allowMore(mostBytes);
    if (!open()) return nullptr;
    const Libav::Owned<AVPacket> packet(av_packet_alloc());
    if (!packet || !demuxer.nextPacket(*packet)) return nullptr;
    const Take any = [](const AVFrame&) { return true; };

    // With the end of the track right behind its first packet the decoder has no reason to wait
    // for further pictures before it hands out the first.
    if (feed(packet.get(), any) || feed(nullptr, any)) return frame.get();

    flush();
    for (int fed = 0; fed < mostPackets && mayGoOn(); ++fed) {
        if (fed > 0 && !demuxer.nextPacket(*packet)) break;
        if (feed(packet.get(), any)) return frame.get();
    }
    return mayGoOn() && feed(nullptr, any) ? frame.get() : nullptr;
}
