#pragma once

#include <string>
#include <string_view>

namespace kit {

/// A name as the text of an XML or HTML document in UTF-8: without markup, and without what such a
/// document may not hold.
[[nodiscard]] std::string markupText(std::string_view name);

/// The last part of a path.
[[nodiscard]] std::string_view fileName(std::string_view path);

}  // namespace kit
