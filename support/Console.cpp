#include "support/Console.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <utility>

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

}  // namespace

Sink& sink() {
    static Descriptors descriptors;
    return redirected != nullptr ? *redirected : descriptors;
}

Redirect::Redirect(Sink& to) : before(std::exchange(redirected, &to)) {}

Redirect::~Redirect() {
    redirected = before;
}

bool isAbandoned() {
    return abandoned;
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
