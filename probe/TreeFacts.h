#pragma once

#include <cstdint>
#include <string>

#include "mp4/Container.h"
#include "sensor/ViewHeading.h"

/// What a movie's boxes say of sound, frame, place, view and parameter set: the facts that need
/// neither a picture nor the camera's maker note.
struct TreeFacts {
    /// Reads them; a record that cannot be read prints its line.
    void read(const MP4::Container& movie);

    ViewHeading viewHeading;
    /// As stored, the box's own length and language words included.
    std::string gps;
    /// Pixels, of the first track header that has both.
    std::int32_t frameWidth = 0;
    std::int32_t frameHeight = 0;
    bool hasSpatialSound = false;
    bool hasSA3DSound = false;
    /// Of the first H.264 record.
    unsigned char profile_idc = 0;
    bool constrained_set1_flag = false;
    bool fullRange = false;

    /// Constrained baseline, which every hardware decoder takes. Asked of H.264 movies.
    bool dxvaDecodable() const { return profile_idc == 66 && constrained_set1_flag; }
};
