#include "kit/motion/Markup.h"

#include <nlohmann/json.hpp>

#include "kit/scan/Record.h"
#include "sondex/sondex.h"

namespace kit {

std::string markupText(std::string_view name) {
    // Printable UTF-8, whatever the name's bytes are.
    const std::string json = sondex::jsonText(printable(name));
    const std::string text = nlohmann::json::parse(json).get<std::string>();
    std::string markup;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const std::string_view rest = std::string_view(text).substr(i);
        if (c == '&') {
            markup += "&amp;";
        } else if (c == '<') {
            markup += "&lt;";
        } else if (c == '>') {
            markup += "&gt;";
        } else if (rest.starts_with("\xEF\xBF\xBE") || rest.starts_with("\xEF\xBF\xBF")) {
            markup += "\xEF\xBF\xBD";  // XML has no such characters
            i += 2;
        } else {
            markup += c;
        }
    }
    return markup;
}

std::string_view fileName(std::string_view path) {
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

}  // namespace kit
