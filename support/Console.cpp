#include "support/Console.h"

#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "support/Waiting.h"

namespace WEKU::Console {
namespace {

/// False with `errno` when not all of it could be written.
bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(descriptor, bytes.data(), bytes.size());
        if (n >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(n));
        } else if (!worthAnotherTry(descriptor, POLLOUT)) {
            return false;
        }
    }
    return true;
}

class Descriptors final : public Sink {
  public:
    /// After the first byte that is lost nothing is written any more: it would be glued to a line
    /// that was cut. A reader that went away knows why.
    void write(std::string_view bytes) override {
        if (lost || writeAll(STDOUT_FILENO, bytes)) return;
        const int error = errno;
        if (lost.exchange(true) || error == EPIPE) return;
        Descriptors::warn(
            formatText("standard output: %s; what follows is lost", std::strerror(error)));
    }
    void warn(std::string_view line) override {
        writeAll(STDERR_FILENO, std::string("Sondex: ").append(line).append("\n"));
    }

    std::atomic<bool> lost = false;
};

Descriptors& descriptors() {
    static Descriptors both;
    return both;
}

/// Null while the thread prints on the process's descriptors.
thread_local Sink* redirected = nullptr;

}  // namespace

Sink& sink() {
    if (redirected != nullptr) return *redirected;
    return descriptors();
}

Redirect::Redirect(Sink& to) : before(std::exchange(redirected, &to)) {}

Redirect::~Redirect() {
    redirected = before;
}

bool isAbandoned() {
    return descriptors().lost;
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
