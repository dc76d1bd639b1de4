#include "probe/ffmpeg/PictureDecoder.h"

namespace {

constexpr int mostPackets = 600;
/// What all pictures that are alive at once may take, and all packets.
constexpr std::uint64_t mostBytes = std::uint64_t{1} << 30;
constexpr std::uint64_t mostSeconds = 60;

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
    if (!self.fits(frame->width, frame->height)) return AVERROR(EINVAL);
    if (self.meter.isExceeded()) return AVERROR(ENOMEM);
    return avcodec_default_get_buffer2(decoder, frame, flags);
}

bool PictureDecoder::open() {
    const AVCodecParameters& parameters = *stream.codecpar;
    if (!fits(parameters.width, parameters.height)) return false;
    const AVCodec* codec = avcodec_find_decoder(parameters.codec_id);
    if (codec == nullptr) return false;
    meter.allowMore(mostBytes, mostSeconds);
    decoder.reset(avcodec_alloc_context3(codec));
    frame.reset(av_frame_alloc());
    if (!decoder || !frame) return false;
    if (avcodec_parameters_to_context(decoder.get(), &parameters) < 0) return false;
    decoder->pkt_timebase = stream.time_base;
    decoder->opaque = this;
    decoder->get_buffer2 = provideBuffer;
    // One picture gives further threads nothing to do but be started.
    decoder->thread_count = 1;
    // Nobody looks at the picture; only whether it decodes counts.
    decoder->skip_loop_filter = AVDISCARD_ALL;
    return avcodec_open2(decoder.get(), codec, nullptr) == 0;
}

bool PictureDecoder::feed(const AVPacket* packet) {
    // A packet that is refused is skipped, as a player would.
    avcodec_send_packet(decoder.get(), packet);
    return avcodec_receive_frame(decoder.get(), frame.get()) == 0;
}

const AVFrame* PictureDecoder::decodeFirst(Demuxer& demuxer) {
    if (!open()) return nullptr;
    const Libav::Owned<AVPacket> packet(av_packet_alloc());
    if (!packet || !demuxer.nextPacket(*packet)) return nullptr;

    // With the end of the track right behind its first packet the decoder has no reason to wait
    // for further pictures before it hands out the first.
    if (feed(packet.get()) || feed(nullptr)) return frame.get();

    avcodec_flush_buffers(decoder.get());
    for (int fed = 0; fed < mostPackets && mayGoOn(); ++fed) {
        if (fed > 0 && !demuxer.nextPacket(*packet)) break;
        if (feed(packet.get())) return frame.get();
    }
    return mayGoOn() && feed(nullptr) ? frame.get() : nullptr;
}
