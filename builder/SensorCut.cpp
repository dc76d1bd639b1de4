#include "builder/SensorCut.h"

#include <algorithm>

#include "builder/Refusal.h"

namespace {

/// The yaw of a frame is turned by a gyro sample some places ahead of it; a stream with fewer than
/// that before its first frames would be read from its end.
constexpr std::size_t gyroMargin = 16;

/// Clocks of chapters that run on from one to the next are left as they are.
constexpr std::int64_t sameClock = 8'000'000;

}  // namespace

SensorCut::SensorCut(const MP4::Container& movie, const std::vector<std::uint32_t>& frames,
                     std::uint32_t sourceFrames, const std::vector<std::uint64_t>& shownAt) {
    for (Kept* kept : {&gyro, &compass, &accelerometer, &frameTimes}) {
        try {
            kept->stream = SensorStream::read(movie, kept->name);
        } catch (const Refusal& refusal) {
            leftOut.push_back(refusal.reason);
        }
        if (kept->stream && kept->stream->size() == 0) kept->stream.reset();
    }
    keepFrameTimes(frames);
    setClock(frames, sourceFrames, shownAt);
    if (accelerometer.stream) {
        accelerometer.byNumber = !frameTimes.stream && accelerometer.stream->size() == sourceFrames;
        if (accelerometer.byNumber) {
            accelerometer.stream->keep(frames);
        } else {
            keepRange(*accelerometer.stream, 0);
        }
    }
    if (compass.stream) keepCompass(frames, sourceFrames);
    if (gyro.stream) keepRange(*gyro.stream, gyroMargin);
}

void SensorCut::keepFrameTimes(const std::vector<std::uint32_t>& frames) {
    if (!frameTimes.stream) return;
    if (frames.back() < frameTimes.stream->size()) {
        frameTimes.stream->keep(frames);
    } else {
        leftOut.push_back("KDTG has fewer times than the source has frames");
        frameTimes.stream.reset();
    }
}

void SensorCut::setClock(const std::vector<std::uint32_t>& frames, std::uint32_t sourceFrames,
                         const std::vector<std::uint64_t>& shownAt) {
    if (frameTimes.stream) {
        firstFrame = frameTimes.stream->timeOf(0);
        lastFrame = frameTimes.stream->timeOf(frameTimes.stream->size() - 1);
    } else if (accelerometer.stream && accelerometer.stream->size() == sourceFrames) {
        firstFrame = accelerometer.stream->timeOf(frames.front());
        lastFrame = accelerometer.stream->timeOf(frames.back());
    } else {
        const Kept& begins = gyro.stream ? gyro : accelerometer.stream ? accelerometer : compass;
        const std::uint64_t begin = begins.stream ? begins.stream->timeOf(0) : 0;
        firstFrame = begin + shownAt[frames.front()];
        lastFrame = begin + shownAt[frames.back()];
    }
}

/// From the sample ahead of the first frame to the one behind the last, between which frames are
/// interpolated, and `more` on both sides.
void SensorCut::keepRange(SensorStream& stream, std::size_t more) const {
    const std::size_t begin = stream.firstNotBefore(firstFrame);
    const std::size_t end = stream.firstNotBefore(lastFrame, begin);
    stream.keep(begin - std::min(begin, more + 1), std::min(stream.size(), end + 1 + more));
}

/// The compass pairs with frames by number, and nothing says that its clock is the others'.
void SensorCut::keepCompass(const std::vector<std::uint32_t>& frames, std::uint32_t sourceFrames) {
    SensorStream& stream = *compass.stream;
    const std::size_t all = stream.size();
    compass.byNumber = all == sourceFrames;
    if (compass.byNumber) return stream.keep(frames);
    std::size_t begin = 0, end = 0;
    if (stream.timeOf(0) <= lastFrame && stream.timeOf(all - 1) >= firstFrame) {
        begin = stream.firstNotBefore(firstFrame);
        end = std::min(all, stream.firstNotBefore(lastFrame, begin) + 1);
        begin -= std::min<std::size_t>(begin, 1);
    } else {
        begin = all * frames.front() / sourceFrames;
        end = std::min(all, all * (frames.back() + 1) / sourceFrames + 1);
    }
    // As many as frames, where the source had so many: readers take fewer for none at all.
    if (end - begin < frames.size()) end = std::min(all, begin + frames.size());
    if (end - begin < frames.size()) begin = end - std::min(end, frames.size());
    stream.keep(begin, end);
}

void SensorCut::join(const SensorCut& next, std::uint64_t at) {
    const std::uint64_t boundary = firstFrame + at;
    auto shift = static_cast<std::int64_t>(boundary - next.firstFrame);
    if (shift > -sameClock && shift < sameClock) shift = 0;
    const auto behind = [&](Kept& kept, const Kept& more) {
        if (!kept.stream && !more.stream) return;
        if (!kept.stream || !more.stream || kept.byNumber != more.byNumber) {
            leftOut.push_back(std::string(kept.name) + " is not of one kind in all sources");
            kept.stream.reset();
            return;
        }
        if (kept.byNumber || &kept == &frameTimes) return kept.stream->append(*more.stream, shift);
        // What the chapter's sensors recorded beyond its pictures would come twice.
        kept.stream->keep(0, kept.stream->firstNotBefore(boundary));
        SensorStream rest = *more.stream;
        if (&kept != &accelerometer && kept.stream->size() > 0) {
            const std::uint64_t last = kept.stream->timeOf(kept.stream->size() - 1);
            const auto moved = static_cast<std::uint64_t>(static_cast<std::int64_t>(last) - shift);
            rest.keep(rest.firstNotBefore(moved + 1), rest.size());
        }
        kept.stream->append(rest, shift);
    };
    behind(gyro, next.gyro);
    behind(compass, next.compass);
    behind(accelerometer, next.accelerometer);
    behind(frameTimes, next.frameTimes);
    leftOut.insert(leftOut.end(), next.leftOut.begin(), next.leftOut.end());
    lastFrame = next.lastFrame + static_cast<std::uint64_t>(shift);
}

std::vector<std::string> SensorCut::boxes() {
    std::vector<std::string> all;
    for (const Kept* kept : {&gyro, &compass, &accelerometer, &frameTimes}) {
        if (!kept->stream || kept->stream->size() == 0) continue;
        all.push_back(kept->stream->box());
        if (!all.back().empty()) continue;
        leftOut.push_back(std::string(kept->name) + " would be longer than its box can be");
        all.pop_back();
    }
    return all;
}
