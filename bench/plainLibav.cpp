// The least that a program built on libav does to know a movie's first picture: open it, decode
// one frame, print its size. Each word is a movie; what Sondex adds is measured against this.
#include <cstdio>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

void describe(const char* path) {
    AVFormatContext* movie = nullptr;
    if (avformat_open_input(&movie, path, av_find_input_format("mp4"), nullptr) < 0) return;
    const AVCodec* codec = nullptr;
    const int index = av_find_best_stream(movie, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
    for (unsigned i = 0; i < movie->nb_streams; ++i) {
        if (static_cast<int>(i) != index) movie->streams[i]->discard = AVDISCARD_ALL;
    }
    AVCodecContext* decoder = avcodec_alloc_context3(codec);
    avcodec_parameters_to_context(decoder, movie->streams[index]->codecpar);
    decoder->thread_count = 1;
    avcodec_open2(decoder, codec, nullptr);
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    while (av_read_frame(movie, packet) >= 0 && packet->stream_index != index)
        av_packet_unref(packet);
    avcodec_send_packet(decoder, packet);
    avcodec_send_packet(decoder, nullptr);
    if (avcodec_receive_frame(decoder, frame) == 0)
        std::printf("%dx%d\n", frame->width, frame->height);
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&decoder);
    avformat_close_input(&movie);
}

}  // namespace

int main(int argc, char** argv) {
    av_log_set_level(AV_LOG_QUIET);
    for (int i = 1; i < argc; ++i)
        describe(argv[i]);
}
