#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <climits>
#include <cstdint>
#include <memory>

/// Owners of what libav hands out.
namespace Libav {

struct Release {
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
    void operator()(AVCodecContext* decoder) const { avcodec_free_context(&decoder); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVIOContext* io) const {
        // The demuxer may have put another buffer in the place of the one it was given.
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
};

template <class T>
using Owned = std::unique_ptr<T, Release>;

/// Bounds every single allocation inside libav while it lives. The bound is the whole process's:
/// libav has no other.
class AllocationBound {
  public:
    explicit AllocationBound(std::uint64_t bytes) {
        av_max_alloc(static_cast<std::size_t>(std::min(bytes, usual)));
    }
    ~AllocationBound() { av_max_alloc(static_cast<std::size_t>(usual)); }
    AllocationBound(const AllocationBound&) = delete;
    AllocationBound& operator=(const AllocationBound&) = delete;

  private:
    static constexpr std::uint64_t usual = INT_MAX;
};

}  // namespace Libav
