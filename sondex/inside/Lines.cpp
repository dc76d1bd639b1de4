#include "sondex/inside/Lines.h"

namespace sondex::inside {

void Lines::write(std::string_view bytes) {
    if (wanted) text += bytes;
}

void Lines::warn(std::string_view line) {
    if (!wanted) return;
    if (!text.empty() && text.back() != '\n') text += '\n';
    text.append(line).append("\n");
}

void Lines::deliver(const Options& options) const {
    if (!options.log) return;
    std::string_view rest = text;
    while (!rest.empty()) {
        const std::size_t end = rest.find('\n');
        options.log(rest.substr(0, end));
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
}

}  // namespace sondex::inside
