#pragma once

#include <functional>

#include "probe/ffmpeg/Demuxer.h"

/// Decodes pictures of a track, as little else as can be, and within the meter.
class PictureDecoder {
  public:
    /// Whether pictures only have to decode, or somebody looks at them.
    enum class Aim { check, show };
    /// Looks at a picture; true: it is the one that is wanted.
    using Take = std::function<bool(const AVFrame&)>;

    PictureDecoder(const AVStream& stream, Meter& meter, Aim aim)
        : stream(stream), meter(meter), aim(aim) {}
    PictureDecoder(const PictureDecoder&) = delete;
    PictureDecoder& operator=(const PictureDecoder&) = delete;

    /// The picture, valid as long as the decoder; null when none of the track's first 600 packets
    /// yields one.
    const AVFrame* decodeFirst(Demuxer& demuxer);
    /// Why there was no picture, as far as that is known.
    SondexVideoRefusal refusal();

    [[nodiscard]] bool open();
    /// Hands a packet (null: the end of the track) to the decoder, and what comes out to `take`
    /// until that is the picture which is wanted; true when it is.
    bool feed(const AVPacket* packet, const Take& take);
    /// The same with what the decoder still has from earlier packets.
    bool takeReady(const Take& take);
    /// Forgets what was fed.
    void flush() { avcodec_flush_buffers(decoder.get()); }
    /// Whether pictures that no other refers to are worth decoding.
    void decodeUnreferenced(bool wanted);
    bool mayGoOn() { return !tooLarge && !meter.isExceeded(); }

  private:
    /// As feed, for a packet of one picture.
    bool decode(const AVPacket* packet, const Take& take);
    bool fits(std::int64_t width, std::int64_t height);
    /// Called by the decoder when it needs room for a picture, and to have slices decoded.
    static int provideBuffer(AVCodecContext* decoder, AVFrame* frame, int flags);
    static int decodeSlices(AVCodecContext* decoder, int (*decode)(AVCodecContext*, void*),
                            void* slices, int* results, int count, int size);

    const AVStream& stream;
    Meter& meter;
    const Aim aim;
    bool foreign = false;
    bool tooLarge = false;
    /// Of the packet that is being decoded: how often the picture may be walked over unseen.
    std::int64_t passes = 0;
    /// A packet was refused for its passes; slices are decoded one by one, under the meter.
    bool isCrowded = false;
    bool isWatched = false;
    Libav::Owned<AVCodecContext> decoder;
    Libav::Owned<AVBSFContext> splitter;
    Libav::Owned<AVFrame> frame;
};
