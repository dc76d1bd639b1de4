#pragma once

#include <cstddef>
#include <string_view>

/// Console output. Standard output is read by programs, so everything that goes there passes
/// through one byte sink: narrow and wide printing never mix in a C stream, and every call leaves
/// in one write, complete when the call returns.
namespace WEKU::Console {

/// Prints a wide printf format to standard output. Wide strings (%ls) leave as UTF-8, their
/// escaped bytes as the bytes they stand for; the caller's locale plays no part.
void out(const wchar_t* format, ...);

/// Prints a narrow printf format to standard output; bytes of %s pass unchanged.
[[gnu::format(printf, 1, 2)]] void outBytes(const char* format, ...);

/// True once nobody reads standard output any more, so that further work would be for nobody.
bool isAbandoned();

/// Prints one line of our own on standard error: "Sondex: ", the text and a line feed.
[[gnu::format(printf, 1, 2)]] void warn(const char* format, ...);

/// Prints the format with the pointer and the count as its arguments, then every byte as
/// " %02X", then a line feed.
void dump(const wchar_t* format, const unsigned char* bytes, std::size_t count);

/// Does nothing here: no locale is ever set.
void init_locale();

/// Stands where numbers are formatted. It has nothing to do here: no locale is ever set.
class LocaleC {
  public:
    LocaleC() {}
    ~LocaleC() {}
    LocaleC(const LocaleC&) = delete;
    LocaleC& operator=(const LocaleC&) = delete;
};

}  // namespace WEKU::Console
