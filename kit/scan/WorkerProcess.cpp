#include "kit/scan/WorkerProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <system_error>
#include <utility>

namespace kit {
namespace {

/// What a worker is given ahead: enough to keep it busy while its parent is not looking, little
/// enough that the last files are spread evenly.
constexpr double secondsAhead = 0.003;
constexpr std::size_t mostAhead = 256;

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

WorkerProcess::WorkerProcess(const WorkerOptions& options)
    : lastAnswer(Clock::now()), lastLook(lastAnswer) {
    void* page = ::mmap(nullptr, sizeof(WorkerProgress), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED) fail("no memory for a worker");
    progress = new (page) WorkerProgress;
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        ::munmap(page, sizeof(WorkerProgress));
        fail("no socket for a worker");
    }
    const pid_t parent = ::getpid();
    process = ::fork();
    if (process == 0) {
#ifdef __linux__
        // Before the question whether the parent still lives, or nobody would notice its end.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
        if (::getppid() != parent) ::_exit(0);
        work(ends[1], *progress, options);
    }
    const int error = errno;
    ::close(ends[1]);
    socket = ends[0];
    if (process < 0) {
        ::close(socket);
        ::munmap(page, sizeof(WorkerProgress));
        errno = error;
        fail("a worker could not be started");
    }
    ::fcntl(socket, F_SETFL, O_NONBLOCK);
}

WorkerProcess::~WorkerProcess() {
    end();
    ::close(socket);
    ::munmap(progress, sizeof(WorkerProgress));
}

void WorkerProcess::give(Job job) {
    if (jobs.empty()) lastAnswer = lastLook = Clock::now();
    appendFrame(out, job.ifMedia ? Frame::fileIfMedia : Frame::file, job.path);
    jobs.push_back(std::move(job));
}

void WorkerProcess::send() {
    while (sent < out.size()) {
        const ssize_t n = ::write(socket, out.data() + sent, out.size() - sent);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return;  // full, or the worker is gone, which reading will tell
        sent += static_cast<std::size_t>(n);
    }
    out.clear();
    sent = 0;
}

bool WorkerProcess::receive() {
    in.erase(0, taken);
    taken = 0;
    constexpr std::size_t step = 65536;
    const std::size_t had = in.size();
    in.resize(had + step);
    const ssize_t n = ::read(socket, in.data() + had, step);
    in.resize(had + (n > 0 ? static_cast<std::size_t>(n) : 0));
    if (n < 0) return errno == EAGAIN || errno == EINTR;
    return n > 0 && in.size() <= longestRecord + step;
}

bool WorkerProcess::next(Frame& kind, std::string_view& bytes) {
    return takeFrame(in, taken, kind, bytes);
}

Job WorkerProcess::answered() {
    Job job = std::move(jobs.front());
    jobs.pop_front();
    ++answers;
    const auto now = Clock::now();
    const double seconds = std::chrono::duration<double>(now - lastAnswer).count();
    // Answers come in bunches: the first of one bears the time of all, which this evens out.
    secondsPerFile += (seconds - secondsPerFile) / 16;
    lastAnswer = now;
    return job;
}

std::size_t WorkerProcess::room() const {
    const double files = secondsAhead / std::max(secondsPerFile, 1e-6);
    const std::size_t ahead =
        std::clamp(static_cast<std::size_t>(files), std::size_t{2}, mostAhead);
    // Topped up when half of it is done, so that a write carries many names.
    return jobs.size() > ahead / 2 ? 0 : ahead - jobs.size();
}

bool WorkerProcess::reading() const {
    return progress->begun > progress->finished;
}

std::optional<std::size_t> WorkerProcess::current() const {
    const std::uint64_t begun = progress->begun;
    // The page is the worker's to write, and the worker may be out of its mind.
    if (begun <= answers || begun - answers > jobs.size()) return std::nullopt;
    return begun - answers - 1;
}

WorkerProcess::Clock::duration WorkerProcess::stuckFor(Clock::time_point now,
                                                       Clock::duration most) {
    const std::uint64_t step = progress->begun + progress->finished + answers;
    if (step != lastStep || jobs.empty()) {
        stuck = {};
        lastStep = step;
    } else {
        stuck += std::min(now - lastLook, most);
    }
    lastLook = now;
    return stuck;
}

std::optional<int> WorkerProcess::end() {
    if (process < 0) return std::nullopt;
    ::kill(process, SIGKILL);
    int status = 0;
    // A worker that hangs in the kernel (a server that does not answer) takes its signal late.
    for (int patience = 0; patience < 200; ++patience) {
        if (::waitpid(process, &status, WNOHANG) != 0) {
            process = -1;
            return status;
        }
        ::usleep(patience < 20 ? 100 : 1000);
    }
    process = -1;
    return std::nullopt;
}

}  // namespace kit
