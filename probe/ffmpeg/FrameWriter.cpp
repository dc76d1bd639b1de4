#include "probe/ffmpeg/FrameWriter.h"

#include <algorithm>
#include <cstring>

namespace {

/// What JPEG's fields hold.
constexpr int longestSide = 65500;

bool isFullRange(const AVFrame& picture) {
    return picture.color_range == AVCOL_RANGE_JPEG || picture.format == AV_PIX_FMT_YUVJ420P ||
           picture.format == AV_PIX_FMT_YUVJ422P || picture.format == AV_PIX_FMT_YUVJ444P ||
           picture.format == AV_PIX_FMT_YUVJ440P;
}

/// The coefficients that libswscale takes for a matrix; what is not said counts as BT.601.
const int* coefficientsOf(AVColorSpace matrix) {
    return sws_getCoefficients(matrix == AVCOL_SPC_UNSPECIFIED ? SWS_CS_DEFAULT : matrix);
}

/// The format of full-range pictures that a JPEG's encoder takes, for one of the same planes.
AVPixelFormat jpegFormatOf(int format) {
    switch (format) {
        case AV_PIX_FMT_YUV420P:
            return AV_PIX_FMT_YUVJ420P;
        case AV_PIX_FMT_YUV422P:
            return AV_PIX_FMT_YUVJ422P;
        case AV_PIX_FMT_YUV444P:
            return AV_PIX_FMT_YUVJ444P;
        default:
            return static_cast<AVPixelFormat>(format);
    }
}

Libav::Owned<AVFrame> emptyPicture(int format, int width, int height) {
    Libav::Owned<AVFrame> picture(av_frame_alloc());
    if (!picture) return picture;
    picture->format = format;
    picture->width = width;
    picture->height = height;
    picture->color_range = AVCOL_RANGE_JPEG;
    if (av_frame_get_buffer(picture.get(), 0) < 0) picture.reset();
    return picture;
}

}  // namespace

FrameWriter::FrameWriter(const AVStream& stream, const SondexFrameWish& wish) : wish(wish) {
    std::size_t bytes = 0;
    const std::uint8_t* side = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &bytes);
    std::int32_t matrix[9];
    if (side == nullptr || bytes < sizeof matrix) return;
    std::memcpy(matrix, side, sizeof matrix);
    const std::int32_t a = matrix[0], b = matrix[1], c = matrix[3], d = matrix[4];
    const bool isUpright = b == 0 && c == 0 && a != 0 && d != 0;
    transposed = a == 0 && d == 0 && b != 0 && c != 0;
    if (!isUpright && !transposed) return;
    flipsAcross = (transposed ? c : a) < 0;
    flipsDown = (transposed ? b : d) < 0;
}

FrameWriter::Size FrameWriter::sizeOf(const AVFrame& picture) const {
    std::int64_t width = transposed ? picture.height : picture.width;
    std::int64_t height = transposed ? picture.width : picture.height;
    if (wish.width != 0) {
        height = std::max<std::int64_t>(1, (height * wish.width + width / 2) / width);
        width = wish.width;
    }
    if (std::max(width, height) > longestSide || width * height > sondexVideoMostPixels) return {};
    return {static_cast<int>(width), static_cast<int>(height)};
}

std::uint64_t FrameWriter::costOf(const AVFrame& picture) const {
    const Size size = sizeOf(picture);
    // Scaled, turned, and encoded, where nothing can be saved.
    return std::uint64_t{12} * static_cast<std::uint64_t>(size.width) *
           static_cast<std::uint64_t>(size.height);
}

AVPixelFormat FrameWriter::formatOf(const AVFrame& picture) const {
    if (wish.format != sondexFrameJpeg) return AV_PIX_FMT_RGB24;
    const auto* known = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    if (known == nullptr || known->nb_components < 3 || known->log2_chroma_h > 0) {
        return AV_PIX_FMT_YUVJ420P;
    }
    // Turned by a right angle, what is halved across would be halved down.
    return known->log2_chroma_w == 1 && !transposed ? AV_PIX_FMT_YUVJ422P : AV_PIX_FMT_YUVJ444P;
}

Libav::Owned<AVFrame> FrameWriter::scaled(const AVFrame& picture, Size size) const {
    const AVPixelFormat format = formatOf(picture);
    const bool isYuv = format != AV_PIX_FMT_RGB24;
    const int width = transposed ? size.height : size.width;
    const int height = transposed ? size.width : size.height;
    const bool isSameColour = isFullRange(picture) && coefficientsOf(picture.colorspace) ==
                                                          coefficientsOf(AVCOL_SPC_UNSPECIFIED);
    if (isYuv && isSameColour && jpegFormatOf(picture.format) == format && picture.width == width &&
        picture.height == height) {
        Libav::Owned<AVFrame> same(av_frame_clone(&picture));
        if (same) same->format = format;
        return same;
    }
    Libav::Owned<AVFrame> result = emptyPicture(format, width, height);
    // In a JPEG, whose loss is larger, the exact roundings would only cost time.
    const int flags =
        isYuv ? SWS_BICUBIC
              : SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;
    const Libav::Owned<SwsContext> scaler(
        sws_getContext(picture.width, picture.height, static_cast<AVPixelFormat>(picture.format),
                       width, height, format, flags, nullptr, nullptr, nullptr));
    if (!result || !scaler) return {};
    // Readers of JPEG take its colours for those of BT.601 in full range.
    constexpr int one = 1 << 16;
    sws_setColorspaceDetails(scaler.get(), coefficientsOf(picture.colorspace),
                             isFullRange(picture) ? 1 : 0, coefficientsOf(AVCOL_SPC_UNSPECIFIED),
                             isYuv ? 1 : 0, 0, one, one);
    const int rows = sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height,
                               result->data, result->linesize);
    return rows == height ? std::move(result) : Libav::Owned<AVFrame>();
}

/// Turned behind the conversion, where every plane is as fine across as it is down, and the chroma
/// samples stood where the movie has them.
Libav::Owned<AVFrame> FrameWriter::turned(const AVFrame& picture) const {
    Libav::Owned<AVFrame> result =
        emptyPicture(picture.format, transposed ? picture.height : picture.width,
                     transposed ? picture.width : picture.height);
    if (!result) return result;
    const auto format = static_cast<AVPixelFormat>(picture.format);
    const auto* known = av_pix_fmt_desc_get(format);
    const std::ptrdiff_t step = known->comp[0].step;
    for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
        const int across = plane == 0 ? 0 : known->log2_chroma_w;
        const int down = plane == 0 ? 0 : known->log2_chroma_h;
        const int width = -((-result->width) >> across);
        const int height = -((-result->height) >> down);
        const std::ptrdiff_t stride = picture.linesize[plane];
        for (int y = 0; y < height; ++y) {
            std::uint8_t* to = result->data[plane] + std::ptrdiff_t{y} * result->linesize[plane];
            const int row = flipsDown ? height - 1 - y : y;
            for (int x = 0; x < width; ++x, to += step) {
                const int column = flipsAcross ? width - 1 - x : x;
                const std::ptrdiff_t at =
                    transposed ? column * stride + row * step : row * stride + column * step;
                std::copy_n(picture.data[plane] + at, step, to);
            }
        }
    }
    return result;
}

Libav::Owned<AVCodecContext> FrameWriter::encoderFor(const AVFrame& picture) const {
    {
        const std::lock_guard lock(idleAccess);
        while (!idle.empty()) {
            auto encoder = std::move(idle.back());
            idle.pop_back();
            if (encoder->width == picture.width && encoder->height == picture.height &&
                encoder->pix_fmt == picture.format) {
                return encoder;
            }
        }
    }
    const bool isJpeg = wish.format == sondexFrameJpeg;
    const AVCodec* codec = avcodec_find_encoder(isJpeg ? AV_CODEC_ID_MJPEG : AV_CODEC_ID_PNG);
    Libav::Owned<AVCodecContext> encoder(avcodec_alloc_context3(codec));
    if (codec == nullptr || !encoder) return {};
    encoder->width = picture.width;
    encoder->height = picture.height;
    encoder->pix_fmt = static_cast<AVPixelFormat>(picture.format);
    encoder->color_range = AVCOL_RANGE_JPEG;
    encoder->time_base = {1, 1};
    encoder->thread_count = 1;
    // No comment that names the encoder.
    encoder->flags |= AV_CODEC_FLAG_BITEXACT;
    if (isJpeg) {
        // The quantiser goes from 1, the best, to 31.
        const int quality = std::clamp(static_cast<int>(wish.quality), 1, 100);
        encoder->flags |= AV_CODEC_FLAG_QSCALE;
        encoder->qmin = 1;
        encoder->global_quality = (1 + (100 - quality) * 30 / 99) * FF_QP2LAMBDA;
    }
    if (avcodec_open2(encoder.get(), codec, nullptr) < 0) encoder.reset();
    return encoder;
}

void FrameWriter::encode(AVFrame& picture, Written& written) const {
    Libav::Owned<AVCodecContext> encoder = encoderFor(picture);
    const Libav::Owned<AVPacket> packet(av_packet_alloc());
    if (!encoder || !packet) return;
    picture.quality = encoder->global_quality;
    picture.pts = encoder->frame_number;
    picture.pict_type = AV_PICTURE_TYPE_NONE;
    // Neither encoder holds a picture back.
    if (avcodec_send_frame(encoder.get(), &picture) < 0 ||
        avcodec_receive_packet(encoder.get(), packet.get()) < 0) {
        return;
    }
    written.bytes.assign(packet->data, packet->data + packet->size);
    const std::lock_guard lock(idleAccess);
    idle.push_back(std::move(encoder));
}

FrameWriter::Written FrameWriter::write(const AVFrame& picture) const {
    Written written;
    const Size size = sizeOf(picture);
    if (size.width == 0) return written;
    const Libav::Bounded bounded(costOf(picture) + (1 << 20));
    Libav::Owned<AVFrame> ready = scaled(picture, size);
    if (ready && (transposed || flipsAcross || flipsDown)) ready = turned(*ready);
    if (!ready) return written;
    written.width = static_cast<std::uint32_t>(size.width);
    written.height = static_cast<std::uint32_t>(size.height);
    if (wish.format != sondexFrameRgb) {
        encode(*ready, written);
        return written;
    }
    // Rows stand close together.
    written.stride = std::uint64_t{written.width} * 3;
    written.bytes.resize(written.stride * written.height);
    for (std::uint32_t y = 0; y < written.height; ++y) {
        const unsigned char* row = ready->data[0] + std::ptrdiff_t{y} * ready->linesize[0];
        std::copy_n(row, written.stride, written.bytes.data() + y * written.stride);
    }
    return written;
}
