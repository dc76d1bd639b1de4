#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "builder/Overwrites.h"
#include "sondex/Result.h"
#include "sondex/inside/Opening.h"

namespace sondex::inside {

/// Where the bytes of a still are overwritten.
enum class Where {
    /// Where they stand, so that none of the old ones stays on the disk. A fault midway leaves a
    /// part of them, and the picture whole.
    inPlace,
    /// Where they stand if one write of a sector makes them all, else in a new file that takes the
    /// place of the old one: whatever fails, the old still or the new one is there.
    safely,
};

/// Overwrites bytes of a still: `find` is given the whole file and says which, and is asked again
/// afterwards, when it must find none. False when there was nothing to do. What `find` throws as a
/// WEKU::Failure is the reason of a refusal.
using Find = std::function<Overwrites(const std::string& file)>;
[[nodiscard]] Result<bool> overwriteStill(std::string_view path, Where where, const Find& find);

/// What the file at the path is.
[[nodiscard]] Result<Kind> kindAt(std::string_view path);

}  // namespace sondex::inside
