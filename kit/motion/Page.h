#pragma once

#include "kit/motion/Motion.h"

namespace kit {

/// A page in HTML with charts of every sample, which holds all that it needs.
void writePage(const Motion& motion, std::string_view name, const Write& write);

}  // namespace kit
