#pragma once

#include <cstdint>
#include <string>

/// What the camera's stabilisation setting (the maker note's value) means: the yaw mode of the
/// yaw stabiliser, the image-stabilisation switch, and the value to write back.
class VideoStabilizationMode {
  public:
    enum MODE : std::int32_t { DISABLED = 0, ENABLED = 1, LOCK_DIRECTION = 2 };

    /// The setting as last given to `resolvState`.
    std::int32_t source = -1;
    /// The value to write back into the maker note.
    std::int32_t exif = -1;
    /// The requested yaw mode; -1 asks for enabled by default, -2 for lock direction.
    std::int32_t yaw = -1;
    /// Image stabilisation: 1 enabled, 0 disabled, negative while not set.
    std::int32_t image = -1;
    /// The yaw mode derived from the setting; negative until `resolvState` has run.
    std::int32_t resolvedYaw = -1;
    float imageGain = 0;

    /// The yaw mode of a setting, by its low three bits.
    static MODE yawMode(std::int32_t setting);

    /// Settles the fields for a setting and returns the code that stands for it with image
    /// stabilisation on. Without `allowYaw` the yaw mode becomes disabled and an unset image switch
    /// goes on instead.
    std::int32_t resolvState(std::int32_t setting, bool allowYaw);

    /// The full text: requested yaw mode, image switch with its gain, setting and stored value.
    void to_s(std::wstring& text) const;
    /// The short text: resolved yaw mode and image switch.
    void stabilizeModeSummary(std::string& text) const;
};
