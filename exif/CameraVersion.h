#pragma once

#include <cstdint>
#include <string_view>

namespace MetaBuilder {

/// The generation code of a camera. Codes outside the list are legal: they are what a future
/// camera would carry.
enum CAMERA_VERSION : std::uint32_t {
    CAMERA_UNKNOWN = 0,
    CAMERA_J40 = 1,
    CAMERA_P = 0x10001,
    CAMERA_PD = 0x11001,
    CAMERA_W = 0x20001,
    CAMERA_Q7 = 0x30001,
};

/// The code of the model text "KESTO ZELVA <model>". The whole text counts, case and trailing
/// characters included; any other text is CAMERA_UNKNOWN.
CAMERA_VERSION camera_version(std::string_view model);

}  // namespace MetaBuilder
