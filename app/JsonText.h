#pragma once

#include <string>
#include <string_view>

/// A narrow text as a JSON string value, quotes included. The text ends at its first NUL.
/// Deliberate: a double quote, every control character and every byte above 0x7F becomes a blank
/// and nothing is escaped, so a backslash passes unchanged; consumers know the values this way.
/// At most 2048 characters; white space at the end is dropped.
std::wstring toJsonValueL(std::string_view text);
