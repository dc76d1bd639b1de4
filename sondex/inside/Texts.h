#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sondex::inside {

/// A stored text up to its first NUL; nothing when that leaves nothing.
inline std::optional<std::string> text(std::string_view stored) {
    const std::string_view shown = stored.substr(0, stored.find('\0'));
    return shown.empty() ? std::nullopt : std::optional<std::string>(shown);
}

}  // namespace sondex::inside
