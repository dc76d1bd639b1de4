#pragma once

#include <functional>
#include <string>

#include "sondex/sondex.h"

namespace kit {

/// As sondex::readFrames, but a process of its own decodes, which may read files and nothing else:
/// a movie that took it over could neither write nor send anything but pictures.
[[nodiscard]] sondex::Status readFramesInSandbox(const std::string& path,
                                                 const sondex::FrameChoice& choice,
                                                 const sondex::FrameOptions& options,
                                                 const std::function<bool(sondex::Frame&&)>& take);

}  // namespace kit
