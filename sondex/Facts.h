#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace sondex {

/// How a picture covers the sphere.
enum class Projection { unknown, equirectangular, dualFisheye };

enum class Codec { unknown, h264, h265 };

enum class Quality { normal, fine };

/// Pixels.
struct Size {
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    bool operator==(const Size&) const = default;
};

/// What the maker note says about the camera. Texts are the file's bytes up to their first NUL,
/// nearly always ASCII; nothing promises that they are UTF-8.
struct Camera {
    std::optional<std::string> model;
    std::optional<std::string> software;
    std::optional<std::string> cpuVersion;
    std::optional<std::string> serial;

    bool operator==(const Camera&) const = default;
};

/// Where a movie was taken (ISO 6709).
struct Position {
    /// Degrees, north and east positive.
    double latitude = 0;
    double longitude = 0;
    /// Metres.
    std::optional<double> altitude;

    bool operator==(const Position&) const = default;
};

/// The initial view of a spherical movie (Spherical Video V1).
struct InitialView {
    /// Degrees.
    std::optional<float> heading;
    std::optional<float> pitch;
    /// Degrees, horizontal.
    std::optional<float> fieldOfView;
    /// -1 to 1.
    std::optional<float> dolly;

    bool operator==(const InitialView&) const = default;
};

/// The camera's stabilisation setting.
struct Stabilization {
    bool directionLocked = false;
    /// As stored; 0: off.
    std::int32_t setting = 0;

    bool operator==(const Stabilization&) const = default;
};

/// Samples a second, as the sensor boxes state them; 0 where there is no such box.
struct MotionRates {
    std::uint32_t accelerometer = 0;
    std::uint32_t gyro = 0;
    std::uint32_t compass = 0;

    bool operator==(const MotionRates&) const = default;
};

/// What is known of a movie. An empty optional: the file does not say.
struct MovieFacts {
    Camera camera;
    /// From the maker note; a movie of an unknown camera whose picture is twice as wide as high
    /// counts as equirectangular.
    Projection projection = Projection::unknown;
    Codec codec = Codec::unknown;
    /// Whether the first picture decodes; empty when that was not tried.
    std::optional<bool> decodable;
    /// Size of the first picture: as decoded, or, when that was not tried, as the sample entry
    /// states it.
    std::optional<Size> picture;
    /// Size in the track header, which players show.
    std::optional<Size> frame;
    /// Pictures a second: their number by the track's duration.
    std::optional<float> frameRate;
    /// Seconds, from the movie header.
    std::optional<float> duration;
    /// Bits a second of the first video track; empty without a duration to divide by.
    std::optional<std::uint32_t> videoBitRate;
    /// Seconds since 1970-01-01 UTC, from the movie header.
    std::optional<std::int64_t> created;

    bool hasSpatialSound = false;
    bool hasSa3dSound = false;

    /// The ISO 6709 text of the camera's position box.
    std::optional<std::string> gps;
    /// That text, or the standard location box's, as numbers.
    std::optional<Position> position;

    InitialView view;
    std::optional<std::string> stitchingSoftware;
    std::optional<std::string> creatorTool;
    /// Whether the camera corrects the zenith by its accelerometer.
    std::optional<bool> topBottomCorrection;
    /// Of H.264 movies: constrained baseline, which every hardware decoder takes.
    std::optional<bool> dxvaDecodable;
    std::optional<Stabilization> stabilization;
    /// Empty when the movie holds no accelerometer samples.
    std::optional<MotionRates> motion;
    std::optional<Quality> quality;

    bool operator==(const MovieFacts&) const = default;
};

enum class StillFormat { jpeg, dng };

/// A part of a file.
struct Extent {
    /// From the start of the file.
    std::uint64_t offset = 0;
    std::uint64_t bytes = 0;

    bool operator==(const Extent&) const = default;
};

/// What is known of a still. An empty optional: the file does not say.
struct StillFacts {
    StillFormat format = StillFormat::jpeg;
    Camera camera;
    /// Degrees: the heading, and how the camera was tilted.
    std::optional<float> yaw;
    std::optional<float> pitch;
    std::optional<float> roll;
    /// Of a DNG: where its image data stands.
    std::optional<Extent> imageData;

    bool operator==(const StillFacts&) const = default;
};

using Facts = std::variant<MovieFacts, StillFacts>;

}  // namespace sondex
