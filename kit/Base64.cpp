#include "kit/Base64.h"

namespace kit {

std::string base64(std::string_view bytes) {
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto byte = [&](std::size_t at) {
            return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0U;
        };
        const unsigned group = byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
        for (unsigned shift = 24; shift != 0; shift -= 6)
            text += digits[group >> (shift - 6) & 63];
        if (i + 2 >= bytes.size()) text.back() = '=';
        if (i + 1 >= bytes.size()) text[text.size() - 2] = '=';
    }
    return text;
}

}  // namespace kit
