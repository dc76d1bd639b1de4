#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// What a JPEG taken out of a movie says of itself: Exif 2.32, and, of an equirectangular picture,
/// the properties of the public panorama namespace in XMP.
struct FrameNotes {
    struct Place {
        /// Degrees and metres.
        double latitude = 0;
        double longitude = 0;
        std::optional<double> altitude;
    };

    /// "MAKER NAME": the first word is the make.
    std::string model = {};
    /// Seconds since 1970-01-01 UTC.
    std::optional<double> time = {};
    std::optional<Place> place = {};
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    bool isEquirectangular = false;
    std::string stitchingSoftware = {};
    /// Of the picture's middle, in degrees: clockwise from north, up, and how far the camera was
    /// turned clockwise about that direction.
    std::optional<double> heading = {}, pitch = {}, roll = {};

    /// Puts the notes into a JPEG (ITU-T T.81), where its JFIF segment stood, and leaves the
    /// picture as it is. Bytes that are no JPEG come back unchanged.
    void putInto(std::string& jpeg) const;

  private:
    std::string exif() const;
    std::string xmp() const;
};
