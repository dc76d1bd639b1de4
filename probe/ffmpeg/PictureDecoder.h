#pragma once

#include "probe/ffmpeg/Demuxer.h"

/// Decodes the first picture of a track, as little else as can be.
class PictureDecoder {
  public:
    PictureDecoder(const AVStream& stream, Meter& meter) : stream(stream), meter(meter) {}
    PictureDecoder(const PictureDecoder&) = delete;
    PictureDecoder& operator=(const PictureDecoder&) = delete;

    /// The picture, valid as long as the decoder; null when none of the track's first 600 packets
    /// yields one.
    const AVFrame* decodeFirst(Demuxer& demuxer);
    /// Why there was no picture, as far as that is known.
    SondexVideoRefusal refusal();

  private:
    bool open();
    /// Hands a packet (null: the end of the track) to the decoder; true when a picture came out.
    bool feed(const AVPacket* packet);
    /// The same for a packet of one picture.
    bool decode(const AVPacket* packet);
    bool mayGoOn() { return !tooLarge && !meter.isExceeded(); }
    bool fits(std::int64_t width, std::int64_t height);
    /// Called by the decoder when it needs room for a picture, and to have slices decoded.
    static int provideBuffer(AVCodecContext* decoder, AVFrame* frame, int flags);
    static int decodeSlices(AVCodecContext* decoder, int (*decode)(AVCodecContext*, void*),
                            void* slices, int* results, int count, int size);

    const AVStream& stream;
    Meter& meter;
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
