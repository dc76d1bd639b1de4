#pragma once

#include "exif/CameraRecord.h"
#include "mp4/Container.h"
#include "probe/VideoReader.h"
#include "sondex/Read.h"

/// What the readers of the door share: facts out of a file that is open.
namespace sondex::inside {

[[nodiscard]] Result<MovieFacts> movieFacts(const MP4::Container& movie, bool decode);
[[nodiscard]] Result<StillFacts> stillFacts(const MP4::Container& file);
[[nodiscard]] Result<MotionStreams> motionOf(const MP4::Container& movie);
[[nodiscard]] Error whyNoPicture(VideoFacts::Trouble trouble);
[[nodiscard]] Camera cameraOf(const ExifParser::ZELVA& record);

}  // namespace sondex::inside
