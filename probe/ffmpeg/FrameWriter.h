#pragma once

#include <mutex>
#include <vector>

#include "probe/DecoderInterface.h"
#include "probe/ffmpeg/Libav.h"

/// Makes of decoded pictures what is handed over: scaled, turned as they are to be shown, in RGB
/// or encoded. Keeps nothing of a picture: several threads may write at once.
class FrameWriter {
  public:
    struct Written {
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        std::uint64_t stride = 0;
        /// Empty when it could not be written.
        std::vector<unsigned char> bytes;
    };

    /// Takes the turn from the track's display matrix, which counts when it is one by right angles,
    /// mirrored or not.
    FrameWriter(const AVStream& stream, const SondexFrameWish& wish);

    Written write(const AVFrame& picture) const;
    /// What writing may take beside the picture.
    std::uint64_t costOf(const AVFrame& picture) const;

  private:
    struct Size {
        int width = 0;
        int height = 0;
    };
    /// Of the picture as it is shown; zero when that is larger than what is written.
    Size sizeOf(const AVFrame& picture) const;
    Libav::Owned<AVFrame> scaled(const AVFrame& picture, Size size) const;
    Libav::Owned<AVFrame> turned(const AVFrame& picture) const;
    AVPixelFormat formatOf(const AVFrame& picture) const;
    void encode(AVFrame& picture, Written& written) const;
    Libav::Owned<AVCodecContext> encoderFor(const AVFrame& picture) const;

    const SondexFrameWish& wish;
    /// Columns become rows; then, across and down, whether the picture is mirrored.
    bool transposed = false;
    bool flipsAcross = false;
    bool flipsDown = false;
    /// Encoders that nobody uses just now: one opened for every picture takes a tenth more time.
    mutable std::vector<Libav::Owned<AVCodecContext>> idle;
    mutable std::mutex idleAccess;
};
