#include <algorithm>
#include <cmath>
#include <exception>
#include <numbers>

#include "builder/FrameNotes.h"
#include "probe/VideoReader.h"
#include "sondex/Frame.h"
#include "sondex/inside/FactsOf.h"
#include "sondex/inside/Opening.h"

namespace sondex {

using namespace inside;

namespace {

/// What is written into the pictures of one movie.
class Notes {
  public:
    explicit Notes(const MP4::Container& movie) {
        const auto read = movieFacts(movie, false);
        if (!read) return;
        facts = *read;
        isEquirectangular = facts.projection == Projection::equirectangular;
        if (!isEquirectangular) return;
        if (auto streams = motionOf(movie)) motion = std::move(*streams);
    }

    void putInto(Frame& frame, std::uint64_t storedNumber) const {
        FrameNotes notes;
        notes.model = facts.camera.model.value_or("");
        notes.stitchingSoftware = facts.stitchingSoftware.value_or("");
        if (facts.created) notes.time = static_cast<double>(*facts.created) + frame.time;
        if (const auto& place = facts.position) {
            notes.place = {place->latitude, place->longitude, place->altitude};
        }
        notes.width = frame.size.width;
        notes.height = frame.size.height;
        notes.isEquirectangular = isEquirectangular;
        putPose(notes, storedNumber);
        notes.putInto(frame.bytes);
    }

  private:
    static double degrees(double radians) { return radians * 180 / std::numbers::pi; }

    void putPose(FrameNotes& notes, std::uint64_t number) const {
        const double record = static_cast<double>(number) * recordsAFrame();
        const auto place = record < 1e15 ? static_cast<std::size_t>(record) : SIZE_MAX;
        if (facts.view.heading) {
            const double turn = motion.yaw.empty() ? 0 : nearest(motion.yaw, place);
            const double heading = std::fmod(*facts.view.heading + degrees(turn), 360);
            notes.heading = heading < 0 ? heading + 360 : heading;
        }
        if (motion.accelerometer.empty()) return;
        // A camera that stands level feels +z; x points to its left, y to its back.
        const AccelerometerSample& felt = nearest(motion.accelerometer, place);
        if (felt.x == 0 && felt.y == 0 && felt.z == 0) return;
        notes.pitch = degrees(std::atan2(-felt.y, std::hypot(felt.x, felt.z)));
        notes.roll = degrees(std::atan2(felt.x, felt.z));
    }

    /// The accelerometer has a record a frame where the movie says when its frames were taken.
    double recordsAFrame() const {
        if (!motion.frameTimes.empty() || !facts.frameRate || *facts.frameRate <= 0) return 1;
        return motion.rates.accelerometer / double{*facts.frameRate};
    }

    template <class T>
    static const T& nearest(const std::vector<T>& records, std::size_t place) {
        return records[std::min(place, records.size() - 1)];
    }

    MovieFacts facts;
    MotionStreams motion;
    bool isEquirectangular = false;
};

SondexFrameWish wishOf(const FrameChoice& choice, const FrameOptions& options) {
    SondexFrameWish wish{};
    if (choice.number) {
        wish.choice = sondexFrameNumber;
        wish.number = *choice.number;
    } else if (choice.at || choice.every) {
        wish.choice = choice.at ? sondexFrameTime : sondexFrameEvery;
        wish.seconds = choice.at.value_or(choice.every.value_or(0));
    }
    wish.format = static_cast<SondexFrameFormat>(options.format);
    wish.width = options.width;
    wish.quality = static_cast<std::uint32_t>(std::clamp(options.quality, 1, 100));
    wish.threads = options.threads;
    return wish;
}

/// What is asked for is none of the things that can be.
std::optional<Error> whyNot(const FrameChoice& choice) {
    const int asked = (choice.at ? 1 : 0) + (choice.number ? 1 : 0) + (choice.every ? 1 : 0);
    if (asked > 1) return Error{ErrorCode::noSuchFrame, "pictures are chosen in one way"};
    if (choice.at && !(*choice.at >= 0 && std::isfinite(*choice.at))) {
        return Error{ErrorCode::noSuchFrame, "times count from 0"};
    }
    if (choice.every && !(*choice.every >= 0.001 && std::isfinite(*choice.every))) {
        return Error{ErrorCode::noSuchFrame, "the distance is a millisecond or more"};
    }
    return std::nullopt;
}

Frame frameOf(const SondexFrame& captured) {
    return {captured.number,
            captured.seconds,
            {captured.width, captured.height},
            static_cast<std::size_t>(captured.stride),
            std::string(reinterpret_cast<const char*>(captured.bytes),
                        static_cast<std::size_t>(captured.length))};
}

Status capture(const MP4::Container& movie, const FrameChoice& choice, const FrameOptions& options,
               const std::function<bool(Frame&&)>& take) {
    if (movie.moov == nullptr) return whyNoMovie(movie);
    std::optional<Notes> notes;
    if (options.describe && options.format == FrameFormat::jpeg) notes.emplace(movie);
    std::exception_ptr thrown;
    bool changed = false;
    const auto hand = [&](const SondexFrame& captured) noexcept {
        try {
            changed = !movie.isUnchanged();
            if (changed) return false;
            Frame frame = frameOf(captured);
            if (notes) notes->putInto(frame, captured.storedNumber);
            return take(std::move(frame));
        } catch (...) {
            thrown = std::current_exception();
            return false;
        }
    };
    auto trouble = VideoFacts::Trouble::unreadable;
    movie.open([&](const WEKU::FileIO& file) {
        trouble = VideoReader::capture(movie, file, wishOf(choice, options), hand);
    });
    if (thrown) std::rethrow_exception(thrown);
    if (changed) return Error{ErrorCode::changed, "another program is changing it"};
    using Trouble = VideoFacts::Trouble;
    if (trouble == Trouble::none || trouble == Trouble::stopped) return {};
    return whyNoPicture(trouble);
}

}  // namespace

Status readFrames(std::string_view path, const FrameChoice& choice, const FrameOptions& options,
                  const std::function<bool(Frame&&)>& take) {
    if (auto error = whyNot(choice)) return std::move(*error);
    Status status = Error{ErrorCode::outOfMemory, "not enough memory"};
    const Options logging{options.log, true};
    Lines lines(logging);
    try {
        MP4::Container movie;
        if (auto error = attach(movie, path, MP4::Container::wholeFile)) {
            status = std::move(*error);
        } else {
            status = capture(movie, choice, options, take);
        }
    } catch (const std::bad_alloc&) {
    }
    lines.finish();
    return status;
}

Result<Frame> readFrame(std::string_view path, const FrameChoice& choice,
                        const FrameOptions& options) {
    Result<Frame> result = Error{ErrorCode::noSuchFrame, "the movie has no pictures"};
    const Status status = readFrames(path, choice, options, [&](Frame&& frame) {
        result = std::move(frame);
        return false;
    });
    return status ? std::move(result) : status.error();
}

}  // namespace sondex
