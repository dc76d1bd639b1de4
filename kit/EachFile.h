#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "sondex/sondex.h"

namespace kit {

/// The status that an error means: `refused` where a file was spared, else `someFailed`.
int statusOf(const sondex::Error& error);

/// Says what could not be done, and returns its status.
int report(std::string_view path, const sondex::Error& error);

/// Edits one file after the other; prints a line on each, or an object of JSON. Returns the status
/// of the program: the last that is not `allWell`.
int editEach(const std::vector<std::string>& paths, bool json,
             const std::function<sondex::Result<sondex::Done>(const std::string& path)>& edit);

}  // namespace kit
