#pragma once

#include <string>
#include <string_view>

#include "sondex/Facts.h"

namespace sondex {

/// The facts as one JSON object (RFC 8259) on one line, in ASCII, with the keys of the program's
/// result line but "status". "duration", "videoBitRate" and "decodable" are null when unknown;
/// other members are left out then.
[[nodiscard]] std::string toJson(const Facts& facts);

/// A text as a JSON string, quotes included. Bytes that are no UTF-8 become U+FFFD.
[[nodiscard]] std::string jsonText(std::string_view text);

}  // namespace sondex
