#include "kit/scan/Output.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace kit {
namespace {

constexpr std::size_t fullBuffer = 65536;

}  // namespace

Output::Output(const std::string& path, Existing existing)
    : name(path.empty() ? "standard output" : path) {
    if (path.empty()) {
        file = STDOUT_FILENO;
        return;
    }
    // Readable too: a run that goes on looks at what is there.
    file = ::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0666);
    // A FIFO or a device that may only be written to.
    if (file < 0) file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY);
    if (file < 0) fail(errno);
    struct stat facts {};
    if (::fstat(file, &facts) != 0 || !S_ISREG(facts.st_mode)) {
        if (existing == Existing::goOn)
            throw OutputRefused(name + ": only a file can be gone on with");
        return;
    }
    if (::flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        throw OutputRefused(name + ": another scan is writing it");
    if (facts.st_size == 0 || existing == Existing::goOn) return;
    if (existing == Existing::refuse) {
        throw OutputRefused(name + ": exists already; --resume goes on with it, --overwrite " +
                            "replaces it");
    }
    if (::ftruncate(file, 0) != 0) fail(errno);
}

Output::~Output() {
    if (file > STDERR_FILENO) ::close(file);
}

void Output::append(std::string_view bytes) {
    buffer += bytes;
    if (buffer.size() >= fullBuffer) flush();
}

void Output::flush() {
    std::string_view left = buffer;
    while (!left.empty()) {
        const ssize_t n = ::write(file, left.data(), left.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EAGAIN) {  // handed over by a parent with an event loop
            pollfd ready{.fd = file, .events = POLLOUT, .revents = 0};
            ::poll(&ready, 1, -1);
            continue;
        }
        if (n < 0) {
            const int error = errno;
            buffer.erase(0, buffer.size() - left.size());
            fail(error);
        }
        left.remove_prefix(static_cast<std::size_t>(n));
    }
    buffer.clear();
}

void Output::finish() {
    flush();
    // Pipes and terminals have nothing to flush.
    if (::fsync(file) != 0 && errno != EINVAL && errno != EROFS && errno != ENOTSUP) fail(errno);
}

void Output::fail(int error) const {
    throw OutputFailure(name + ": " +
                        (error == EPIPE ? "closed by its reader" : std::strerror(error)));
}

}  // namespace kit
