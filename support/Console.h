#pragma once

#include <cstddef>
#include <string_view>

#include "support/TextFormat.h"
#include "support/WideText.h"

/// Console output. Everything that is printed goes through the running thread's sink, one call of
/// the sink a call of these functions; without a sink of its own a thread prints on the process's
/// standard output, which programs read, and on standard error. Narrow and wide printing never
/// mix in a C stream, and what is printed has left when the call returns.
namespace WEKU::Console {

/// Where a thread's lines go.
class Sink {
  public:
    virtual ~Sink() = default;
    /// Takes bytes for standard output as they come: part of a line, a line or several.
    virtual void write(std::string_view bytes) = 0;
    /// Takes one line for people, without the program's name ahead and the line feed behind it.
    virtual void warn(std::string_view line) = 0;
    /// True when it drops everything, so that nothing needs to be put into words.
    virtual bool isSilent() const { return false; }
};

/// The running thread's sink. A thread that works for another begins by taking over its sink.
Sink& sink();

/// Sends what this thread prints to another sink for as long as it lives. Scopes nest.
class Redirect {
  public:
    explicit Redirect(Sink& to);
    ~Redirect();
    Redirect(const Redirect&) = delete;
    Redirect& operator=(const Redirect&) = delete;

  private:
    Sink* before;
};

/// Prints a wide printf format (see formatText) to the sink.
template <class... Values>
void out(const wchar_t* format, const Values&... values) {
    if (!sink().isSilent()) sink().write(formatText(format, values...));
}

/// Prints a narrow printf format to the sink.
template <class... Values>
void outBytes(const char* format, const Values&... values) {
    if (!sink().isSilent()) sink().write(formatText(format, values...));
}

/// True once something printed on standard output was lost (the reader went away, the disk is
/// full), so that further work would be for nobody. Nothing more is written there from then on.
bool isAbandoned();

/// Prints one line of our own: on standard error "Sondex: ", the text and a line feed. One line it
/// stays, whatever the names in it hold.
template <class... Values>
void warn(const char* format, const Values&... values) {
    if (!sink().isSilent()) sink().warn(wchar::oneLine(formatText(format, values...)));
}

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
