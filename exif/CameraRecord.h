#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include "exif/ExifParser.h"

/// The camera record: what the maker note says about a still or a movie. Filled by
/// ExifParser::readZEVLA; a value whose tag is absent is as `clear` leaves it.
struct ExifParser::ZELVA {
    /// A place on a fisheye image, in pixels.
    struct Point {
        std::int32_t x = 0;
        std::int32_t y = 0;
    };

    /// How the two fisheye images are stitched.
    struct STITCHING {
        std::int32_t convertVersion = -1;
        Point fishImgCenter;
        Point fishMovCenter;
        float samplingRate = 0.0F;

        /// True when all four are present and plausible.
        bool isValid() const;
    };

    static constexpr float absent = std::numeric_limits<float>::quiet_NaN();

    /// Texts as stored, a terminating NUL included.
    std::string model;
    std::string software;
    std::string version;
    std::string serial;
    /// A PROJECTION_TYPE.
    std::int32_t type = 0;
    std::int32_t hdr = 0;
    /// Zenith and heading, in degrees; NaN when absent.
    float roll = absent;
    float pitch = absent;
    float yaw = absent;
    std::int32_t autoAcc = 0;
    /// `yaw` corrected for the tilt of the camera, in degrees.
    float compass = absent;
    /// A TOPBOTTOM_CORRECTION_TYPE; -1 when absent.
    std::int32_t adjZenith = -1;
    /// A VIDEO_STABILIZATION; -1 when absent.
    std::int32_t stabilize = -1;
    /// Yaw is treated at all; its direction is locked; any setting but off.
    bool stabilizeFlag1 = false;
    bool stabilizeFlag2 = false;
    bool stabilizeFlag3 = false;
    std::int32_t videoQuality = 0;
    STITCHING stitching;

    /// Back to the initial values, `model` and `software` excepted.
    void clear();
    /// Stores a stabilisation setting with the flags that it sets.
    void attachStabilization(std::uint16_t setting);
    /// Derives `compass` from `yaw`, `pitch` and `roll`.
    void attachCompass();
    /// Prints the record, one field a line.
    void dump() const;
};
