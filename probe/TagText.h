#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The text that the regular expression "<tag> *(.+) *</tag>" (ECMAScript) takes out of `text`:
/// what stands between the tags on one line, without the blanks behind the opening tag (of a text
/// of blanks alone, one stays) and up to the line's last closing tag. No value when nothing
/// matches. Takes time in proportion to the text and no stack, unlike the library's expressions.
std::optional<std::string> textBetweenTags(std::string_view text, std::string_view tag);
