#include "sondex/inside/Lines.h"

#include <utility>

namespace sondex::inside {

void Lines::write(std::string_view bytes) {
    if (!log) return;
    for (;;) {
        const std::size_t end = bytes.find('\n');
        unfinished += bytes.substr(0, end);
        if (end == std::string_view::npos) return;
        deliver(std::exchange(unfinished, {}));
        bytes.remove_prefix(end + 1);
    }
}

void Lines::warn(std::string_view line) {
    if (log) deliver(line);
}

void Lines::finish() {
    if (!unfinished.empty()) deliver(std::exchange(unfinished, {}));
    if (thrown) std::rethrow_exception(std::exchange(thrown, nullptr));
}

void Lines::deliver(std::string_view line) {
    if (thrown) return;
    try {
        log(line);
    } catch (...) {
        thrown = std::current_exception();
    }
}

}  // namespace sondex::inside
