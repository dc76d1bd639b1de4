#include <algorithm>
#include <string_view>

#include "builder/Privacy.h"

namespace Privacy {
namespace {

bool isDigit(char c) {
    return '0' <= c && c <= '9';
}

bool isName(char c) {
    return isDigit(c) || ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || c == '_' || c == '-' ||
           c == '.' || c == ':';
}

void blank(std::string& text, std::size_t begin, std::size_t end) {
    for (end = std::min(end, text.size()); begin < end; ++begin) {
        if (text[begin] != '\n') text[begin] = ' ';
    }
}

/// The end of the element or attribute whose name is [begin, end).
std::size_t endOfNamed(const std::string& text, std::size_t begin, std::size_t end) {
    const std::string name = text.substr(begin, end - begin);
    if (begin > 0 && text[begin - 1] == '<') {
        const std::size_t open = text.find('>', end);
        if (open == std::string::npos) return text.size();
        if (text[open - 1] == '/') return open + 1;
        const std::size_t close = text.find("</" + name, open);
        return close == std::string::npos ? text.size() : text.find('>', close) + 1;
    }
    const std::size_t quote = text.find_first_not_of(" \t\r\n=", end);
    if (quote == std::string::npos || (text[quote] != '"' && text[quote] != '\'')) return end;
    return text.find(text[quote], quote + 1) + 1;
}

bool tellsOn(std::string_view name, const What& what) {
    const std::string_view local = name.substr(name.find(':') + 1);
    const auto has = [&](std::string_view part) {
        return local.find(part) != std::string_view::npos;
    };
    return (what.gps && (has("GPS") || has("Gps") || has("gps"))) ||
           (what.serial && has("SerialNumber"));
}

/// The end of the run of digits at `at`.
std::size_t digitsFrom(const std::string& text, std::size_t at) {
    while (at < text.size() && isDigit(text[at]))
        ++at;
    return at;
}

/// The end of a signed decimal number with so many digits ahead of the point; `at` when none is.
std::size_t degreesFrom(const std::string& text, std::size_t at, std::size_t least,
                        std::size_t most) {
    if (at >= text.size() || (text[at] != '+' && text[at] != '-')) return at;
    const std::size_t whole = digitsFrom(text, at + 1);
    if (whole - at - 1 < least || whole - at - 1 > most) return at;
    if (whole >= text.size() || text[whole] != '.') return at;
    const std::size_t end = digitsFrom(text, whole + 1);
    return end == whole + 1 ? at : end;
}

}  // namespace

void stripXmp(std::string& text, const What& what) {
    for (std::size_t at = 0; at < text.size();) {
        if (!isName(text[at])) {
            ++at;
            continue;
        }
        std::size_t end = at;
        while (end < text.size() && isName(text[end]))
            ++end;
        const bool opens = at > 0 && (text[at - 1] == '<' || text[at - 1] == ' ' ||
                                      text[at - 1] == '\n' || text[at - 1] == '\t');
        if (opens && tellsOn(std::string_view(text).substr(at, end - at), what)) {
            const std::size_t behind = endOfNamed(text, at, end);
            const std::size_t begin = text[at - 1] == '<' ? at - 1 : at;
            end = behind == 0 ? text.size() : std::max(behind, end);
            blank(text, begin, end);
        }
        at = end;
    }
}

void blankPositions(std::string& bytes) {
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        const std::size_t latitude = degreesFrom(bytes, at, 2, 2);
        if (latitude == at) continue;
        std::size_t end = degreesFrom(bytes, latitude, 3, 3);
        if (end == latitude) continue;
        while (end < bytes.size() &&
               (isDigit(bytes[end]) || bytes[end] == '+' || bytes[end] == '-' ||
                bytes[end] == '.' || bytes[end] == '/')) {
            ++end;
        }
        blank(bytes, at, end);
        at = end - 1;
    }
}

void blankText(std::string& bytes, const std::string& text) {
    if (text.empty()) return;
    for (std::size_t at = bytes.find(text); at != std::string::npos; at = bytes.find(text, at))
        bytes.replace(at, text.size(), text.size(), '\0');
}

}  // namespace Privacy
