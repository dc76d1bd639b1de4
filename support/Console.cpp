#include "support/Console.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <string>
#include <utility>

#include "support/WideText.h"

namespace WEKU::Console {
namespace {

std::atomic<bool> abandoned = false;

/// A reader that went away or a full disk leaves nobody to tell; the rest of the text is dropped.
void writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(descriptor, bytes.data(), bytes.size());
        if (n > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(n));
        } else if (n == 0 || errno != EINTR) {
            // Seen only where whoever started the program has it ignore the signal for this.
            if (n < 0 && errno == EPIPE && descriptor == STDOUT_FILENO) abandoned = true;
            return;
        }
    }
}

class Descriptors final : public Sink {
  public:
    void write(std::string_view bytes) override { writeAll(STDOUT_FILENO, bytes); }
    void warn(std::string_view line) override {
        writeAll(STDERR_FILENO, std::string("Sondex: ").append(line).append("\n"));
    }
};

/// Null while the thread prints on the process's descriptors.
thread_local Sink* redirected = nullptr;

std::wstring formatWide(const wchar_t* format, std::va_list arguments) {
    // vswprintf reports a short buffer as a failure without a length, hence the growing tries.
    constexpr std::size_t most = std::size_t{1} << 26;
    std::wstring text(256, L'\0');
    for (;;) {
        std::va_list copy;
        va_copy(copy, arguments);
        const int n = std::vswprintf(text.data(), text.size(), format, copy);
        va_end(copy);
        if (n >= 0) {
            text.resize(static_cast<std::size_t>(n));
            return text;
        }
        if (text.size() >= most) return {};
        text.resize(text.size() * 4);
    }
}

std::string formatNarrow(const char* format, std::va_list arguments) {
    std::va_list copy;
    va_copy(copy, arguments);
    const int n = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string text(static_cast<std::size_t>(std::max(n, 0)), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

}  // namespace

Sink& sink() {
    static Descriptors descriptors;
    return redirected != nullptr ? *redirected : descriptors;
}

Redirect::Redirect(Sink& to) : before(std::exchange(redirected, &to)) {}

Redirect::~Redirect() {
    redirected = before;
}

void out(const wchar_t* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::wstring text = formatWide(format, arguments);
    va_end(arguments);
    sink().write(wchar::narrow(text));
}

void outBytes(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = formatNarrow(format, arguments);
    va_end(arguments);
    sink().write(text);
}

bool isAbandoned() {
    return abandoned;
}

void warn(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = formatNarrow(format, arguments);
    va_end(arguments);
    sink().warn(text);
}

void dump(const wchar_t* format, const unsigned char* bytes, std::size_t count) {
    out(format, bytes, count);
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(count * 3 + 1);
    for (std::size_t i = 0; i < count; ++i) {
        text += {' ', digits[bytes[i] >> 4], digits[bytes[i] & 15]};
    }
    text += '\n';
    sink().write(text);
}

void init_locale() {}

}  // namespace WEKU::Console
