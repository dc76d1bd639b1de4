#include "support/LineInput.h"

#include <poll.h>
#include <unistd.h>

#include "support/Waiting.h"
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
    } while (n < 0 && worthAnotherTry(descriptor, POLLIN));
    if (n > 0) pending.append(bytes, static_cast<std::size_t>(n));
    ended = n <= 0;
    return !ended;
}

std::optional<std::wstring> LineInput::next() {
    std::size_t feed = pending.find('\n', taken);
    while (feed == std::string::npos && !isFull(std::string_view(pending).substr(taken))) {
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

/// Whether the bytes hold a whole line's characters, the last of them complete.
bool LineInput::isFull(std::string_view bytes) const {
    if (bytes.size() < most) return false;
    bytes.remove_suffix(wchar::openEnd(bytes));
    return wchar::widenFront(bytes, most).size() == most;
}

}  // namespace WEKU
