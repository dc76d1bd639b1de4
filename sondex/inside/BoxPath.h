#pragma once

#include <string_view>

#include "mp4/Box.h"

namespace sondex::inside {

/// The box that a path of the front door names: four-character codes, as bytes or in UTF-8, joined
/// by ".", each with the number of the box among those of its code, "trak[1]". The root for an
/// empty path; null when there is none.
[[nodiscard]] MP4::BOX* boxAt(MP4::NestedBox& root, std::string_view path);

}  // namespace sondex::inside
