#include <algorithm>

#include "probe/ffmpeg/Capture.h"
#include "probe/ffmpeg/PictureDecoder.h"

namespace {

/// The track's pictures divided by its duration. The demuxer knows the quotient of what tables and
/// fragments list; without it the announced numbers must do.
float nominalFrameRate(const AVStream& stream) {
    if (stream.avg_frame_rate.num > 0 && stream.avg_frame_rate.den > 0) {
        return static_cast<float>(av_q2d(stream.avg_frame_rate));
    }
    const double duration = static_cast<double>(stream.duration) * av_q2d(stream.time_base);
    if (stream.nb_frames <= 0 || !(duration > 0)) return 0;
    return static_cast<float>(static_cast<double>(stream.nb_frames) / duration);
}

SondexVideoOutcome describe(const SondexVideoSource* source, SondexVideoFacts* facts) {
    Meter meter = Demuxer::meterFor(source->length);
    Demuxer demuxer(*source, meter);
    SondexVideoOutcome outcome = sondexVideoUnreadable;
    const AVStream* video = demuxer.openVideo(*facts, outcome);
    if (video == nullptr) return outcome;
    facts->nominalFrameRate = nominalFrameRate(*video);

    PictureDecoder decoder(*video, meter, PictureDecoder::Aim::check);
    const AVFrame* picture = decoder.decodeFirst(demuxer);
    if (picture != nullptr) {
        facts->width = picture->width;
        facts->height = picture->height;
    } else {
        facts->refusal = decoder.refusal();
    }
    return outcome;
}

}  // namespace

extern "C" [[gnu::visibility("default")]] const SondexVideoModule sondexVideoModule{
    sondexVideoInterface, describe, capture};
