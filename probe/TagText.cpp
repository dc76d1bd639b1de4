#include "probe/TagText.h"

#include <algorithm>

namespace {

std::string joined(std::string_view front, std::string_view tag) {
    return std::string(front).append(tag).append(">");
}

}  // namespace

std::optional<std::string> textBetweenTags(std::string_view text, std::string_view tag) {
    const std::string opening = joined("<", tag);
    const std::string closing = joined("</", tag);
    const auto endsLine = [](char c) { return c == '\n' || c == '\r'; };
    for (;;) {
        const std::size_t found = text.find(opening);
        if (found == std::string_view::npos) return std::nullopt;
        text.remove_prefix(found + opening.size());
        const auto lineEnd = std::find_if(text.begin(), text.end(), endsLine);
        const std::string_view line =
            text.substr(0, static_cast<std::size_t>(lineEnd - text.begin()));
        // With the line's last closing tag, its first opening tag matches or none of it does.
        const std::size_t last = line.rfind(closing);
        if (last != std::string_view::npos && last > 0) {
            const std::size_t start = std::min(line.find_first_not_of(' '), last - 1);
            return std::string(line.substr(start, last - start));
        }
        text.remove_prefix(line.size());
    }
}
