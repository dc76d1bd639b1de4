#pragma once

#include <string>

#include "kit/motion/Motion.h"

namespace kit {

/// A picture in SVG: yaw, tilt and gyro over time, gaps shaded. However long the movie is, no line
/// has more than two points a pixel.
[[nodiscard]] std::string figureOf(const Motion& motion, std::string_view name);

}  // namespace kit
