#include "exif/CameraVersion.h"

namespace MetaBuilder {

CAMERA_VERSION camera_version(std::string_view model) {
    static constexpr std::string_view prefix = "KESTO ZELVA ";
    static constexpr struct {
        std::string_view name;
        CAMERA_VERSION version;
    } models[] = {
        {"j40", CAMERA_J40}, {"P", CAMERA_P}, {"PD", CAMERA_PD}, {"W", CAMERA_W}, {"Q7", CAMERA_Q7},
    };
    if (!model.starts_with(prefix)) return CAMERA_UNKNOWN;
    model.remove_prefix(prefix.size());
    for (const auto& known : models) {
        if (known.name == model) return known.version;
    }
    return CAMERA_UNKNOWN;
}

}  // namespace MetaBuilder
