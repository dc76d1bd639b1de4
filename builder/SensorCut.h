#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "builder/SensorStream.h"

/// A movie's sensor streams, cut down to the frames that are kept of it and joined with those of
/// the chapters behind it.
class SensorCut {
  public:
    /// Keeps what the frames need: one frame time each, and of the other streams the samples that
    /// their readers come to when they look those times up. `frames` are the kept frames' numbers,
    /// ascending, of `sourceFrames`; `shownAt` tells the nanoseconds from the first frame to each
    /// frame of the source.
    ///
    /// A stream with one sample a frame and no times to go by is kept by number. Without frame
    /// times the accelerometer stands in for them when it has one sample a frame, else the frames
    /// are taken to begin with the gyro. Damaged streams stay out, as `leftOut` says.
    SensorCut(const MP4::Container& movie, const std::vector<std::uint32_t>& frames,
              std::uint32_t sourceFrames, const std::vector<std::uint64_t>& shownAt);

    /// Puts the streams of the next chapter behind these; its first frame is shown `at` nanoseconds
    /// after the first of all. Streams that one of the two lacks stay out.
    void join(const SensorCut& next, std::uint64_t at);

    /// The boxes of the streams.
    std::vector<std::string> boxes();

    /// Sentences on what could not be kept.
    std::vector<std::string> leftOut;

  private:
    struct Kept {
        const char* name;
        /// One sample a frame, whatever the times say.
        bool byNumber = false;
        std::optional<SensorStream> stream = {};
    };

    void keepFrameTimes(const std::vector<std::uint32_t>& frames);
    void setClock(const std::vector<std::uint32_t>& frames, std::uint32_t sourceFrames,
                  const std::vector<std::uint64_t>& shownAt);
    void keepRange(SensorStream& stream, std::size_t more) const;
    void keepCompass(const std::vector<std::uint32_t>& frames, std::uint32_t sourceFrames);

    Kept gyro{"KDTB"}, compass{"KDTC"}, accelerometer{"KDTD"}, frameTimes{"KDTG"};
    /// The times of the first and the last frame on the clock of the streams.
    std::uint64_t firstFrame = 0;
    std::uint64_t lastFrame = 0;
};
