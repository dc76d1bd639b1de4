#include "kit/scan/Worker.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>

#include "kit/Sandbox.h"

namespace kit {
namespace {

using Clock = std::chrono::steady_clock;

/// Records leave together: when there are this many bytes of them, or when they are this old.
constexpr std::size_t fullBuffer = 32768;
constexpr auto longestWait = std::chrono::milliseconds(4);

constexpr int channel = 3;

/// The parent's output, its other workers and whatever else it had open.
void keepOnly(int socket) {
    const int null = ::open("/dev/null", O_RDWR);
    for (int place = 0; place < channel; ++place)
        ::dup2(null, place);
    // dup2 onto itself would keep the flag; nothing is ever run, so it does not matter.
    ::dup2(socket, channel);
#ifdef __linux__
    if (::close_range(channel + 1, ~0U, 0) == 0) return;
#endif
    const long most = ::sysconf(_SC_OPEN_MAX);
    for (int place = channel + 1; place < most; ++place)
        ::close(place);
}

void limit(int resource, rlim_t most) {
    rlimit bounds{};
    ::getrlimit(static_cast<__rlimit_resource>(resource), &bounds);
    bounds.rlim_cur = std::min(most, bounds.rlim_max);
    bounds.rlim_max = bounds.rlim_cur;
    ::setrlimit(static_cast<__rlimit_resource>(resource), &bounds);
}

void writeAll(std::string& bytes) {
    std::string_view left = bytes;
    while (!left.empty()) {
        const ssize_t n = ::write(channel, left.data(), left.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) ::_exit(0);
        left.remove_prefix(static_cast<std::size_t>(n));
    }
    bytes.clear();
}

/// Whether the file begins as movies (ISO/IEC 14496-12), JPEGs or TIFF files do.
bool isMedia(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (file < 0) return true;  // the reading will tell why
    std::array<char, 8> start{};
    const ssize_t n = ::read(file, start.data(), start.size());
    ::close(file);
    const std::string_view bytes(start.data(), n > 0 ? static_cast<std::size_t>(n) : 0);
    if (bytes.starts_with("\xFF\xD8\xFF")) return true;
    if (bytes.starts_with(std::string_view("II*\0", 4))) return true;
    if (bytes.starts_with(std::string_view("MM\0*", 4))) return true;
    if (bytes.size() < 8) return false;
    for (const std::string_view box : {"ftyp", "moov", "mdat", "free", "skip", "wide", "pnot"}) {
        if (bytes.substr(4) == box) return true;
    }
    return false;
}

class Server {
  public:
    Server(WorkerProgress& shared, const WorkerOptions& wishes)
        : progress(shared), options(wishes), lastWrite(Clock::now()) {}

    void answer(Frame kind, std::string_view name) {
        const std::string path(name);
        bool memoryIsShort = false;
        progress.begun.fetch_add(1, std::memory_order_relaxed);
        if (kind == Frame::fileIfMedia && !isMedia(path)) {
            appendFrame(out, Frame::nothing, "");
        } else {
            memoryIsShort = !read(path);
        }
        progress.finished.fetch_add(1, std::memory_order_relaxed);
        // A heap that was driven to its limit is no place for the next file.
        if (memoryIsShort) {
            writeAll(out);
            ::_exit(0);
        }
        if (out.size() >= fullBuffer || Clock::now() - lastWrite > longestWait) flush();
    }

    void flush() {
        writeAll(out);
        lastWrite = Clock::now();
    }

  private:
    bool read(const std::string& path) {
        try {
            const auto facts = sondex::read(path, {.log = {}, .decode = options.decode});
            if (facts) {
                appendFrame(out, Frame::succeeded, recordTail(*facts, options.format));
                return true;
            }
            if (facts.error().code != sondex::ErrorCode::outOfMemory) {
                fail(toString(facts.error().code), facts.error().message);
                return true;
            }
        } catch (const std::bad_alloc&) {
        }
        fail("memory", "needs more memory than a worker may have");
        return false;
    }

    void fail(std::string_view code, std::string_view message) {
        appendFrame(out, Frame::failed, recordTail(code, message, options.format));
    }

    WorkerProgress& progress;
    const WorkerOptions& options;
    std::string out;
    Clock::time_point lastWrite;
};

/// Enters the sandbox and says what the system lacks of it.
std::string sandboxLack() {
    const Sandbox sandbox = enterSandbox();
    if (sandbox.whole()) return {};
    if (!sandbox.fileSystem && !sandbox.systemCalls) return "Landlock and seccomp";
    return sandbox.fileSystem ? "seccomp" : "Landlock";
}

}  // namespace

void appendFrame(std::string& to, Frame kind, std::string_view bytes) {
    const auto length = static_cast<std::uint32_t>(bytes.size());
    std::array<char, frameHeader> header{};
    std::memcpy(header.data(), &length, sizeof length);
    header.back() = static_cast<char>(kind);
    to.append(header.data(), header.size()).append(bytes);
}

bool takeFrame(std::string_view from, std::size_t& at, Frame& kind, std::string_view& bytes) {
    if (from.size() - at < frameHeader) return false;
    std::uint32_t length = 0;
    std::memcpy(&length, from.data() + at, sizeof length);
    if (from.size() - at - frameHeader < length) return false;
    kind = static_cast<Frame>(from[at + frameHeader - 1]);
    bytes = from.substr(at + frameHeader, length);
    at += frameHeader + length;
    return true;
}

void work(int socket, WorkerProgress& progress, const WorkerOptions& options) {
    // The parent decides when to end: a key typed at the terminal reaches the whole group.
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        ::signal(signal, SIG_IGN);
    ::signal(SIGPIPE, SIG_DFL);
    keepOnly(socket);
    limit(RLIMIT_CORE, 0);
#ifndef __SANITIZE_ADDRESS__
    // The address sanitizer's own memory would count.
    limit(RLIMIT_DATA, options.memory);
#endif
    std::string in;
    appendFrame(in, Frame::ready, options.sandbox ? sandboxLack() : std::string());
    writeAll(in);

    Server server(progress, options);
    std::array<char, 65536> block;
    std::size_t at = 0;
    for (;;) {
        Frame kind{};
        std::string_view name;
        while (takeFrame(in, at, kind, name))
            server.answer(kind, name);
        server.flush();
        in.erase(0, at);
        at = 0;
        const ssize_t n = ::read(channel, block.data(), block.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) ::_exit(0);
        in.append(block.data(), static_cast<std::size_t>(n));
    }
}

}  // namespace kit
