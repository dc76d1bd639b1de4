#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sondex/sondex.h"

namespace kit {

/// How records are written: JSON Lines, or CSV with these columns behind "path".
struct Format {
    bool csv = false;
    /// Keys of the record; those of an inner object behind a dot: "error.code".
    std::vector<std::string> fields = {};
};

/// The part of a file's record that its name does not tell, for a file that was read.
[[nodiscard]] std::string recordTail(const sondex::Facts& facts, const Format& format);

/// The same for one that failed.
[[nodiscard]] std::string recordTail(std::string_view code, std::string_view message,
                                     const Format& format);

/// What stands ahead of the tail. In JSON it is the same for the same name, differs for different
/// names, and never contains `tailStart`.
[[nodiscard]] std::string recordHead(std::string_view path, const Format& format);

/// What every JSON tail begins with, the head's comma included. In a text the quote would be
/// escaped, so this is found in a record only where the tail begins.
inline constexpr std::string_view tailStart = ",\"status\":\"";

/// The first line of the output: CSV's column names. Empty for JSON.
[[nodiscard]] std::string recordHeader(const Format& format);

/// A line of text for people: control characters, which could steer a terminal, as blanks.
[[nodiscard]] std::string printable(std::string_view text);

}  // namespace kit
