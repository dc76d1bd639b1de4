#pragma once

#include <string>
#include <string_view>

/// Conversion between bytes and wide text. The bytes are UTF-8; every byte that is no part of a
/// well-formed sequence becomes the wide character U+DC00 + byte, which the way back turns into
/// that byte again, so any file name survives the round trip. No locale is consulted.
namespace WEKU::wchar {

/// The caps of the two classic conversions, in wide characters and in bytes.
inline constexpr std::size_t maxWide = 2048;
inline constexpr std::size_t maxNarrow = 2048;

/// Bytes to wide text: at most min(2 x byte length, 2048) characters, cut at the first NUL.
std::wstring mbs2wcs(std::string_view bytes);

/// Wide text to bytes: a zero-filled string of min(6 x length, 2048) bytes, trailing NULs
/// included; use it through its C-string view. A character that does not fit whole is left out.
std::string wcs2mbs(std::wstring_view text);

/// The same conversions without a cap; an embedded NUL is an ordinary character.
std::wstring widen(std::string_view bytes);
std::string narrow(std::wstring_view text);

/// Widens at most `most` characters off the front of `bytes`, which then begins behind them.
std::wstring widenFront(std::string_view& bytes, std::size_t most);

/// Text of a file for a line of output: each control character, of ASCII or behind it, and each
/// separator of lines or paragraphs becomes a blank, so that no file can forge a line or speak to a
/// terminal. Ends at the first NUL.
std::string oneLine(std::string_view bytes);

/// How many bytes at the end may be a sequence whose rest is still to come.
std::size_t openEnd(std::string_view bytes);

}  // namespace WEKU::wchar
