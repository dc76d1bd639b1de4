#pragma once

#include <string>
#include <string_view>

#include "support/ByteArray.h"

namespace kit {

inline std::string toHex(const ByteArray& bytes) {
    std::string hex;
    for (std::uint64_t i = 0; i < 2 * bytes.length(); ++i)
        hex += "0123456789abcdef"[bytes.data()[i / 2] >> (i % 2 == 0 ? 4 : 0) & 15];
    return hex;
}

inline ByteArray fromHex(std::string_view hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
    return {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()};
}

}  // namespace kit
