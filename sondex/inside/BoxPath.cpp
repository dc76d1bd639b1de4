#include "sondex/inside/BoxPath.h"

#include <charconv>
#include <optional>
#include <string>

namespace sondex::inside {
namespace {

struct Step {
    MP4::FourCC code = 0;
    std::size_t number = 0;
};

/// Takes the first step off the path.
std::optional<Step> takeStep(std::string_view& path) {
    std::string code;
    while (code.size() < 4 && !path.empty()) {
        // A character of Latin 1 in UTF-8 is two bytes, its code's is one.
        const bool latin1 = path.size() > 1 && (path[0] == '\xC2' || path[0] == '\xC3') &&
                            (static_cast<unsigned char>(path[1]) & 0xC0) == 0x80;
        code +=
            latin1 && path[0] == '\xC3' ? static_cast<char>(path[1] | 0x40) : path[latin1 ? 1 : 0];
        path.remove_prefix(latin1 ? 2 : 1);
    }
    if (code.size() < 4) return std::nullopt;
    Step step{MP4::fourCCAt(code.data()), 0};
    if (path.starts_with('[')) {
        const auto [behind, error] =
            std::from_chars(path.data() + 1, path.data() + path.size(), step.number);
        path.remove_prefix(static_cast<std::size_t>(behind - path.data()));
        if (error != std::errc() || !path.starts_with(']')) return std::nullopt;
        path.remove_prefix(1);
    }
    if (path.empty()) return step;
    if (!path.starts_with('.') || path.size() == 1) return std::nullopt;
    path.remove_prefix(1);
    return step;
}

MP4::BOX* childOf(const MP4::NestedBox& parent, Step step) {
    for (const auto& child : parent.children) {
        if (child->type == step.code && step.number-- == 0) return child.get();
    }
    return nullptr;
}

/// The first match, which another branch may hold when the first branch does not.
MP4::BOX* search(MP4::NestedBox& parent, std::string_view path) {
    const std::string_view whole = path;
    const std::optional<Step> step = takeStep(path);
    if (!step) return nullptr;
    const bool numbered = whole.substr(0, whole.size() - path.size()).find('[') != path.npos;
    for (std::size_t i = step->number;; ++i) {
        MP4::BOX* child = childOf(parent, {step->code, i});
        if (child == nullptr || path.empty()) return child;
        auto* nested = dynamic_cast<MP4::NestedBox*>(child);
        MP4::BOX* found = nested != nullptr ? search(*nested, path) : nullptr;
        if (found != nullptr || numbered) return found;
    }
}

}  // namespace

MP4::BOX* boxAt(MP4::NestedBox& root, std::string_view path) {
    return path.empty() ? &root : search(root, path);
}

}  // namespace sondex::inside
