#include "support/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace WEKU {
namespace {

constexpr int lastStream = STDERR_FILENO;

/// Whether all three are open for good.
bool areHeld = false;

/// A folder can be neither read nor written like a file.
int openPlaceholder() {
    return ::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

/// Keeps the closed ones among the three from being handed out.
class Placeholders {
  public:
    Placeholders() {
        for (int stream = 0; stream <= lastStream && !areHeld; ++stream) {
            if (::fcntl(stream, F_GETFD) < 0) held[stream] = openPlaceholder();
        }
    }
    ~Placeholders() {
        const int error = errno;
        for (const int descriptor : held) {
            if (descriptor >= 0) ::close(descriptor);
        }
        errno = error;
    }
    Placeholders(const Placeholders&) = delete;
    Placeholders& operator=(const Placeholders&) = delete;

  private:
    int held[lastStream + 1] = {-1, -1, -1};
};

}  // namespace

int openFile(int folder, const char* path, int flags, unsigned mode) {
    const Placeholders placeholders;
    const int opened = ::openat(folder, path, flags | O_CLOEXEC, static_cast<mode_t>(mode));
    if (opened < 0 || opened > lastStream) return opened;
    // No placeholder could be opened.
    const int moved = ::fcntl(opened, F_DUPFD_CLOEXEC, lastStream + 1);
    ::close(opened);
    return moved;
}

void holdStandardStreams() {
    int held = 0;
    do {
        held = openPlaceholder();
    } while (held >= 0 && held <= lastStream);
    areHeld = held > lastStream;
    if (held >= 0) ::close(held);
}

}  // namespace WEKU
