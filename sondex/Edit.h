#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sondex/Facts.h"
#include "sondex/Movie.h"
#include "sondex/Result.h"

/// The writing half of the front door. Paths are the system's bytes. An edit either is done, or
/// leaves the file as it was and says why (ErrorCode::refused, busy, changed, noSpace and so on).
namespace sondex {

/// What is to be set in a movie or a still; the rest stays as it is.
struct Changes {
    /// Of movies, as the setters of Movie.
    std::optional<Position> position = {};
    std::optional<std::int64_t> created = {};
    std::optional<std::string> xmp = {}, axis = {};
    /// Of movies and stills.
    MakerNoteSettings makerNote = {};
    /// Of movies, and by itself: constraint_set1_flag, and a stated full range, in the H.264
    /// parameter sets.
    bool baselineFlag = false;
};
[[nodiscard]] Result<Done> change(std::string_view path, const Changes& changes);

/// What tells on the user.
struct Private {
    bool gps = false;
    bool serial = false;
    bool motion = false;
};
/// Overwrites it in a movie, a JPEG or a DNG, where it stands, and reads the file again to see that
/// it is gone. An edit that fails midway leaves a file that plays, and a second one goes on.
[[nodiscard]] Result<Done> strip(std::string_view path, const Private& what);

/// Moves the movie box ahead of the media data, so that a player can begin before it has the whole
/// file.
[[nodiscard]] Result<Done> startFast(std::string_view path);

/// Gives the movie the box by which viewers know it as 360-degree, or mends it. Of the view what is
/// present is written; a new box takes its heading from the maker note otherwise.
[[nodiscard]] Result<Done> makeSpherical(std::string_view path, const InitialView& view);

/// One reason for viewers to show a movie as 360-degree or not.
struct SphericalRule {
    std::string name;
    bool holds = false;
    /// What was found.
    std::string found;
};
[[nodiscard]] Result<std::vector<SphericalRule>> checkSpherical(std::string_view path);

/// A position from ISO 6709 text in decimal degrees ("+35.6895+139.6917+40/") or from
/// "LAT,LON[,ALT]"; nothing when it is neither, or no place on Earth.
[[nodiscard]] std::optional<Position> positionOf(std::string_view text);

}  // namespace sondex
