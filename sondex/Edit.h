#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sondex/Facts.h"
#include "sondex/Result.h"

/// The writing half of the front door. Paths are the system's bytes. An edit either is done, or
/// leaves the file as it was and says why (ErrorCode::refused, busy, changed, noSpace and so on).
namespace sondex {

/// What an edit did: sentences without a full stop; none when there was nothing to do.
using Done = std::vector<std::string>;

/// What is to be set; the rest stays as it is.
struct Changes {
    /// Of movies: the standard location boxes, and the camera's own where it wrote one.
    std::optional<Position> position = {};
    /// Of movies: creation time of movie, tracks and media, in seconds since 1970-01-01 UTC.
    std::optional<std::int64_t> created = {};
    /// Of movies: the XMP packet and the tilt stream, in place of those that are there.
    std::optional<std::string> xmp = {}, axis = {};
    /// Settings of the maker note of movies and stills, as the camera's own numbers. A setting that
    /// the maker note lacks stays away; a stabilisation of 0 changes nothing.
    std::optional<std::int32_t> stabilization = {}, projection = {}, zenith = {};
    /// Of movies: constraint_set1_flag, and a stated full range, in the H.264 parameter sets.
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
