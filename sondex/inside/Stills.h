#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "builder/Overwrites.h"
#include "sondex/Result.h"
#include "sondex/inside/Opening.h"

namespace sondex::inside {

/// Overwrites bytes of a still in place: `find` is given the whole file and says which, and is
/// asked again afterwards, when it must find none. False when there was nothing to do. What `find`
/// throws as a WEKU::Failure is the reason of a refusal.
using Find = std::function<Overwrites(const std::string& file)>;
[[nodiscard]] Result<bool> overwriteStill(std::string_view path, const Find& find);

/// What the file at the path is.
[[nodiscard]] Result<Kind> kindAt(std::string_view path);

}  // namespace sondex::inside
