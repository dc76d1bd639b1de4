#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <climits>
#include <cstdint>
#include <memory>
#include <mutex>

/// Owners of what libav hands out.
namespace Libav {

struct Release {
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
    void operator()(AVCodecContext* decoder) const { avcodec_free_context(&decoder); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVBSFContext* filter) const { av_bsf_free(&filter); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
    void operator()(AVIOContext* io) const {
        // The demuxer may have put another buffer in the place of the one it was given.
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
};

template <class T>
using Owned = std::unique_ptr<T, Release>;

/// While it lives, libav prints nothing and no single allocation inside it is larger than `bytes`.
/// Both are settings of the whole process: while several movies are read at once, the largest of
/// their bounds holds, and the last one restores what stood before.
class Bounded {
  public:
    explicit Bounded(std::uint64_t bytes) {
        const std::lock_guard<std::mutex> lock(mutex);
        if (holders++ == 0) logLevel = av_log_get_level();
        largest = std::min(std::max(largest, bytes), usual);
        av_log_set_level(AV_LOG_QUIET);
        av_max_alloc(static_cast<std::size_t>(largest));
    }
    ~Bounded() {
        const std::lock_guard<std::mutex> lock(mutex);
        if (--holders > 0) return;
        largest = 0;
        av_max_alloc(static_cast<std::size_t>(usual));
        av_log_set_level(logLevel);
    }
    Bounded(const Bounded&) = delete;
    Bounded& operator=(const Bounded&) = delete;

  private:
    static constexpr std::uint64_t usual = INT_MAX;
    static inline std::mutex mutex;
    static inline int holders = 0;
    static inline int logLevel = 0;
    static inline std::uint64_t largest = 0;
};

}  // namespace Libav
