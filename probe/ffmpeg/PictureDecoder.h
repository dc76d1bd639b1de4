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
    /// A picture was refused for its size.
    bool sawTooLarge() const { return tooLarge; }

  private:
    bool open();
    /// Hands a packet (null: the end of the track) to the decoder; true when a picture came out.
    bool feed(const AVPacket* packet);
    bool mayGoOn() const { return !tooLarge && !meter.isExceeded(); }
    bool fits(std::int64_t width, std::int64_t height);
    static int provideBuffer(AVCodecContext* decoder, AVFrame* frame, int flags);

    const AVStream& stream;
    Meter& meter;
    bool tooLarge = false;
    Libav::Owned<AVCodecContext> decoder;
    Libav::Owned<AVFrame> frame;
};
