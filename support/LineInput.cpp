#include "support/LineInput.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "support/WideText.h"

namespace WEKU {

bool LineInput::readMore() {
    if (ended) return false;
    pending.erase(0, taken);
    taken = 0;
    char bytes[65536];
    ssize_t n = 0;
    do {
        n = ::read(descriptor, bytes, sizeof bytes);
    } while (n < 0 && errno == EINTR);
    if (n > 0) pending.append(bytes, static_cast<std::size_t>(n));
    ended = n <= 0;
    return !ended;
}

std::optional<std::wstring> LineInput::next() {
    // No character has more than four bytes, so a full line is found within this many and no
    // sequence is ever cut by the end of what has been read.
    const std::size_t enough = most * 4;
    std::size_t feed = pending.find('\n', taken);
    while (feed == std::string::npos && pending.size() - taken < enough) {
        const std::size_t searched = pending.size() - taken;
        if (!readMore()) break;
        feed = pending.find('\n', taken + searched);
    }
    if (taken == pending.size()) return std::nullopt;
    const std::size_t end = feed == std::string::npos ? pending.size() : feed + 1;
    std::string_view rest = std::string_view(pending).substr(taken, end - taken);
    std::wstring line = wchar::widenFront(rest, most);
    taken = end - rest.size();
    return line;
}

}  // namespace WEKU
