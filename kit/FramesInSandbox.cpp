#include "kit/FramesInSandbox.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include "kit/Sandbox.h"

namespace kit {
namespace {

using sondex::ErrorCode;

/// What goes ahead of a picture's bytes, or of the words of an error.
struct Head {
    enum Kind : std::uint32_t { picture, error, end } kind;
    std::uint32_t code;
    std::uint64_t number;
    double time;
    sondex::Size size;
    std::uint64_t stride;
    std::uint64_t length;
};
constexpr std::uint64_t longest = std::uint64_t{1} << 31;

bool send(int to, const void* data, std::size_t count) {
    const char* bytes = static_cast<const char*>(data);
    while (count > 0) {
        const ssize_t sent = ::write(to, bytes, count);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        bytes += sent;
        count -= static_cast<std::size_t>(sent);
    }
    return true;
}

bool receive(int from, void* data, std::size_t count) {
    char* bytes = static_cast<char*>(data);
    while (count > 0) {
        const ssize_t got = ::read(from, bytes, count);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        bytes += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

[[noreturn]] void work(int to, const std::string& path, const sondex::FrameChoice& choice,
                       const sondex::FrameOptions& options) {
    enterSandbox();
    const auto hand = [to](sondex::Frame&& frame) {
        const Head head{Head::picture,     0, frame.number, frame.time, frame.size, frame.stride,
                        frame.bytes.size()};
        return send(to, &head, sizeof head) && send(to, frame.bytes.data(), frame.bytes.size());
    };
    Head head{Head::end, 0, 0, 0, {}, 0, 0};
    std::string words;
    try {
        const sondex::Status status = sondex::readFrames(path, choice, options, hand);
        if (!status) {
            words = status.error().message;
            head.kind = Head::error;
            head.code = static_cast<std::uint32_t>(status.error().code);
            head.length = words.size();
        }
    } catch (const std::exception&) {
        ::_exit(EXIT_FAILURE);
    }
    send(to, &head, sizeof head);
    send(to, words.data(), words.size());
    ::_exit(EXIT_SUCCESS);
}

sondex::Status takeFrom(int from, const std::function<bool(sondex::Frame&&)>& take) {
    const sondex::Error lost{ErrorCode::damaged, "the process that decodes it ended early"};
    for (Head head{}; receive(from, &head, sizeof head);) {
        if (head.kind == Head::end) return {};
        if (head.length > longest) return lost;
        sondex::Frame frame{head.number, head.time, head.size, head.stride, {}};
        frame.bytes.resize(head.length);
        if (!receive(from, frame.bytes.data(), frame.bytes.size())) return lost;
        if (head.kind == Head::error) {
            const bool known = head.code <= static_cast<std::uint32_t>(ErrorCode::ioFailed);
            return sondex::Error{known ? static_cast<ErrorCode>(head.code) : ErrorCode::damaged,
                                 frame.bytes};
        }
        if (!take(std::move(frame))) return {};
    }
    return lost;
}

}  // namespace

sondex::Status readFramesInSandbox(const std::string& path, const sondex::FrameChoice& choice,
                                   const sondex::FrameOptions& options,
                                   const std::function<bool(sondex::Frame&&)>& take) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return sondex::Error{ErrorCode::ioFailed, "no pipe"};
#ifdef F_SETPIPE_SZ
    // A few pictures of room, so that decoding need not wait for the disk.
    static_cast<void>(::fcntl(ends[1], F_SETPIPE_SZ, 1 << 20));
#endif
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ends[0]);
        work(ends[1], path, choice, options);
    }
    ::close(ends[1]);
    sondex::Status status = sondex::Error{ErrorCode::outOfMemory, "no process to decode it in"};
    if (child > 0) status = takeFrom(ends[0], take);
    // One that still has something to say is told that nobody listens.
    ::close(ends[0]);
    while (child > 0 && ::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return status;
}

}  // namespace kit
