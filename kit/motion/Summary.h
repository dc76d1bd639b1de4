#pragma once

#include <string>

#include "kit/motion/Motion.h"

namespace kit {

/// What is to be said of a movie's motion, as the lines of a table for people.
[[nodiscard]] std::string summaryText(const Motion& motion);

/// The same as an object of JSON on a line.
[[nodiscard]] std::string summaryJson(std::string_view path, const Motion& motion);

}  // namespace kit
