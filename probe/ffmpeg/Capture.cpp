#include "probe/ffmpeg/Capture.h"

#include <cmath>
#include <deque>
#include <exception>
#include <future>
#include <optional>

#include "probe/ffmpeg/FrameFinder.h"
#include "probe/ffmpeg/FrameWriter.h"
#include "probe/ffmpeg/PictureDecoder.h"

namespace {

/// Packets that a decoder may be behind with a picture.
constexpr int mostDelay = 64;

/// Names the pictures that are wished for, one after the other as they are shown.
class Wishes {
  public:
    Wishes(const SondexFrameWish& wish, FrameFinder& finder, AVRational unit, Meter& meter)
        : wish(wish), finder(finder), unit(unit), meter(meter) {}

    std::optional<FrameFinder::Target> next() {
        if (wish.choice != sondexFrameEvery) return asked++ == 0 ? only() : std::nullopt;
        for (; !meter.isExceeded(); ++asked) {
            const auto found = at(static_cast<double>(asked) * wish.seconds);
            if (found && asked > 0 && found->time == last) continue;
            if (found) last = found->time;
            ++asked;
            return found;
        }
        return std::nullopt;
    }

  private:
    std::optional<FrameFinder::Target> only() {
        if (wish.choice == sondexFrameFirst) return finder.first();
        return wish.choice == sondexFrameNumber ? finder.byNumber(wish.number) : at(wish.seconds);
    }

    std::optional<FrameFinder::Target> at(double seconds) {
        // A time that was rounded to less than a tick is still that of its picture.
        const double ticks = std::floor(seconds / av_q2d(unit) + 0.01);
        if (!(ticks >= 0 && ticks < 0x1p62)) return std::nullopt;
        return finder.byTime(
            av_sat_add64(finder.beginningTime(), static_cast<std::int64_t>(ticks)));
    }

    const SondexFrameWish& wish;
    FrameFinder& finder;
    AVRational unit;
    Meter& meter;
    std::uint64_t asked = 0;
    std::int64_t last = 0;
};

/// Decodes targets, which ascend. Between two of the same key picture it goes on where it was.
class TargetDecoder {
  public:
    TargetDecoder(Demuxer& demuxer, PictureDecoder& decoder) : demuxer(demuxer), decoder(decoder) {}

    /// The picture; null when it does not decode. `goesOn`: the next target has the same key.
    /// `orLater`: any picture behind it does as well.
    Libav::Owned<AVFrame> decode(const FrameFinder::Target& target, bool goesOn, bool orLater) {
        Libav::Owned<AVFrame> found;
        const PictureDecoder::Take take = [&](const AVFrame& frame) {
            const std::int64_t time = frame.pts;
            const bool isWhole = (frame.flags & AV_FRAME_FLAG_CORRUPT) == 0;
            if (!isWhole || (orLater ? time < target.time : time != target.time)) return false;
            found.reset(av_frame_clone(&frame));
            return true;
        };
        if (key != target.key) {
            if (key >= 0) decoder.flush();
            key = next = target.key;
        } else if (decoder.takeReady(take)) {
            return found;
        }
        for (int behind = 0; behind < mostDelay && decoder.mayGoOn() && packet;) {
            const bool isThere = demuxer.seekTo(next) && demuxer.nextPacket(*packet);
            const std::int64_t time = isThere ? packet->pts : INT64_MAX;
            decoder.decodeUnreferenced(time >= target.time);
            if (isThere && decoder.feed(packet.get(), take)) return ++next, std::move(found);
            ++next;
            if (!isThere || (!goesOn && !orLater && time == target.time)) {
                // With the end of the track right here the decoder waits for nothing more.
                decoder.feed(nullptr, take);
                if (isThere || !found) {
                    decoder.flush();
                    key = -1;
                }
                return found;
            }
            if (time >= target.time) ++behind;
        }
        return found;
    }

  private:
    Demuxer& demuxer;
    PictureDecoder& decoder;
    std::int64_t key = -1;
    std::int64_t next = 0;
    Libav::Owned<AVPacket> packet{av_packet_alloc()};
};

/// Writes pictures, several at a time, and hands them over in their order.
class Queue {
  public:
    Queue(const FrameWriter& writer, const SondexFrameWish& wish, const SondexFrameTaker& taker)
        : writer(writer), wish(wish), taker(taker) {}

    /// `frame` says which picture it is.
    void put(Libav::Owned<AVFrame> picture, const SondexFrame& frame) {
        auto write = [this, picture = std::move(picture)] { return writer.write(*picture); };
        const bool now = wish.threads < 2;
        waiting.push_back({frame, std::async(now ? std::launch::deferred : std::launch::async,
                                             std::move(write))});
        while (!waiting.empty() && waiting.size() > (now ? 0 : 2 * wish.threads))
            handOver();
    }
    void finish() {
        while (!waiting.empty())
            handOver();
    }
    SondexVideoRefusal refusal = sondexVideoNotRefused;

  private:
    struct Waiting {
        SondexFrame frame;
        std::future<FrameWriter::Written> written;
    };

    void handOver() {
        auto [frame, future] = std::move(waiting.front());
        waiting.pop_front();
        const FrameWriter::Written written = future.get();
        if (refusal != sondexVideoNotRefused) return;
        frame.width = written.width;
        frame.height = written.height;
        frame.stride = written.stride;
        frame.bytes = written.bytes.data();
        frame.length = written.bytes.size();
        if (written.bytes.empty()) {
            refusal = sondexVideoUnwritable;
        } else if (!taker.take(taker.context, &frame)) {
            refusal = sondexVideoStopped;
        }
    }

    const FrameWriter& writer;
    const SondexFrameWish& wish;
    const SondexFrameTaker& taker;
    std::deque<Waiting> waiting;
};

SondexVideoRefusal captureFrom(Demuxer& demuxer, const AVStream& video, Meter& meter,
                               const SondexFrameWish& wish, const SondexFrameTaker& taker) {
    if (wish.isFragmented) demuxer.readFragments();
    FrameFinder finder(demuxer);
    PictureDecoder decoder(video, meter, PictureDecoder::Aim::show);
    constexpr std::uint64_t decodersBytes = std::uint64_t{1} << 30;
    meter.allowMore(decodersBytes);
    const bool found = finder.begin(wish.shownFirst);
    if (!decoder.open()) return decoder.refusal();
    if (!found) return meter.isExceeded() ? sondexVideoTooCostly : sondexVideoUndecodable;

    const FrameWriter writer(video, wish);
    Queue queue(writer, wish, taker);
    TargetDecoder targets(demuxer, decoder);
    Wishes wishes(wish, finder, video.time_base, meter);
    auto target = wishes.next();
    if (!target) return meter.isExceeded() ? sondexVideoTooCostly : sondexVideoPastEnd;
    std::uint64_t costs = 0;
    while (target && queue.refusal == sondexVideoNotRefused) {
        const auto following = wishes.next();
        const bool goesOn = following && following->key == target->key;
        auto picture = targets.decode(*target, goesOn, wish.choice == sondexFrameFirst);
        if (!picture) {
            queue.finish();
            const SondexVideoRefusal why = decoder.refusal();
            return why != sondexVideoNotRefused ? why : sondexVideoUndecodable;
        }
        if (picture->pts > target->time) target = finder.byTime(picture->pts).value_or(*target);
        if (costs == 0) {
            costs = writer.costOf(*picture) * std::max(2 * wish.threads, 1U);
            meter.allowMore(costs);
        }
        SondexFrame frame{};
        frame.storedNumber = target->storedNumber;
        frame.number = target->storedNumber - finder.first().storedNumber;
        frame.seconds = static_cast<double>(av_sat_sub64(target->time, finder.first().time)) *
                        av_q2d(video.time_base);
        queue.put(std::move(picture), frame);
        // Each picture is given what the first one was.
        meter.renew();
        target = following;
    }
    queue.finish();
    // A search that was broken off is no end.
    if (queue.refusal == sondexVideoNotRefused && meter.isExceeded()) return sondexVideoTooCostly;
    return queue.refusal;
}

}  // namespace

SondexVideoOutcome capture(const SondexVideoSource* source, const SondexFrameWish* wish,
                           const SondexFrameTaker* taker, SondexVideoFacts* facts) try {
    Meter meter = Demuxer::meterFor(source->length);
    Demuxer demuxer(*source, meter);
    SondexVideoOutcome outcome = sondexVideoUnreadable;
    const AVStream* video = demuxer.openVideo(*facts, outcome);
    if (video == nullptr) return outcome;
    facts->refusal = captureFrom(demuxer, *video, meter, *wish, *taker);
    return sondexVideoDescribed;
} catch (const std::exception&) {
    // Memory or threads; nothing may pass the module's edge.
    facts->refusal = sondexVideoTooCostly;
    return sondexVideoDescribed;
}
