#pragma once

#include <functional>
#include <string_view>

#include "sondex/Boxes.h"
#include "sondex/Facts.h"
#include "sondex/Motion.h"
#include "sondex/Result.h"

/// The reading half of the front door. Paths are the system's bytes. Nothing is printed; any number
/// of threads may call at once; what a file can cost is bounded by its length. A file that another
/// program changes or exchanges under the reading is read again, a few times at most.
namespace sondex {

struct Options {
    /// Receives the lines, without their line feeds, that the steps of the reading print, on the
    /// calling thread; silent when empty. What it throws comes out of the call.
    std::function<void(std::string_view line)> log = {};
    /// Decode a movie's first picture. Without, the decoder is not even loaded, `decodable` stays
    /// unknown, and frame rate and picture size are what the headers claim.
    bool decode = true;
};

/// The facts of a movie. With `decode`, a movie whose first picture does not decode is an error.
[[nodiscard]] Result<MovieFacts> readMovie(std::string_view path, const Options& options = {});

/// The facts of a JPEG or a DNG, told apart by their contents.
[[nodiscard]] Result<StillFacts> readStill(std::string_view path, const Options& options = {});

/// The facts of whatever the contents are.
[[nodiscard]] Result<Facts> read(std::string_view path, const Options& options = {});

/// The motion sensors of a movie. No picture is decoded.
[[nodiscard]] Result<MotionStreams> readMotion(std::string_view path, const Options& options = {});

/// The box tree of a movie, of which the file itself is the root.
[[nodiscard]] Result<Box> readBoxes(std::string_view path, const Options& options = {});

}  // namespace sondex
