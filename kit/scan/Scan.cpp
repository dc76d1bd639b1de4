#include "kit/scan/Scan.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace kit {
namespace {

using std::chrono::milliseconds;

/// How far results may run ahead of the slowest with `ordered`.
constexpr std::uint64_t widestWindow = 65536;
constexpr std::size_t mostHeldBytes = 16U << 20;

/// Workers that die, one after the other, before they did anything.
constexpr int mostFruitlessStarts = 8;

/// Records do not stay in the buffer longer than this.
constexpr milliseconds longestUnwritten{100};

/// A tail that would break the line it stands in comes from a worker that is no longer ours.
bool isOneLine(std::string_view tail) {
    return std::none_of(tail.begin(), tail.end(),
                        [](char c) { return static_cast<unsigned char>(c) < 0x20; });
}

std::string causeOf(std::optional<int> status) {
    if (status && WIFSIGNALED(*status))
        return std::string("its worker was ended by a signal: ") + strsignal(WTERMSIG(*status));
    if (status && WIFEXITED(*status))
        return "its worker ended with status " + std::to_string(WEXITSTATUS(*status));
    return "its worker ended";
}

/// How many workers must have died over a file until it is to blame: the first may have died of a
/// neighbour, and a kill may have come from outside.
int deathsToBlame(std::optional<int> status) {
    return status && WIFSIGNALED(*status) && WTERMSIG(*status) == SIGKILL ? 3 : 2;
}

}  // namespace

Scan::Scan(const ScanOptions& wishes, Names& source, const Done& earlier, Output& target,
           Progress& display, Say toSay)
    : options(wishes),
      names(source),
      done(earlier),
      output(target),
      progress(display),
      say(std::move(toSay)),
      workers(std::max(1U, wishes.jobs)),
      lastFlush(Clock::now()) {}

void Scan::run() {
    for (;;) {
        dispatch();
        const bool idle = std::all_of(workers.begin(), workers.end(),
                                      [](const auto& w) { return !w || w->jobs.empty(); });
        if (idle && again.empty() && namesEnded) break;
        wait();
        lookAfter();
        progress.show(names.part());
    }
    output.finish();
    progress.finish();
}

/// The next name that is not done. False: none now.
bool Scan::pullName(Job& job) {
    while (!namesEnded && !windowIsFull()) {
        Name name;
        const Names::Next next = names.next(name);
        namesEnded = next == Names::Next::end;
        namesWait = next == Names::Next::wait;
        if (next != Names::Next::name) return false;
        std::string head = recordHead(name.path, options.worker.format);
        if (done.holds(head)) {
            progress.skip();
            continue;
        }
        job = {.number = nextNumber++,
               .path = std::move(name.path),
               .head = std::move(head),
               .ifMedia = name.ifMedia};
        if (!name.folderError) return true;
        refuse(job, *name.folderError == EACCES ? "noPermission" : "ioFailed",
               std::strerror(*name.folderError));
    }
    return false;
}

bool Scan::takeJob(Job& job) {
    if (again.empty()) return pullName(job);
    job = std::move(again.front());
    again.pop_front();
    return true;
}

bool Scan::windowIsFull() const {
    return options.ordered &&
           (nextNumber - nextToPut >= widestWindow || heldBytes >= mostHeldBytes);
}

void Scan::dispatch() {
    for (auto& worker : workers) {
        // What a worker died over is read alone, by a fresh one: then it is clear whose fault it
        // is.
        const bool alone = !again.empty() && again.front().deaths > 0;
        if (worker && alone && (!worker->isFresh() || !worker->jobs.empty())) {
            if (!worker->jobs.empty()) continue;
            worker.reset();
        }
        std::size_t room = alone ? 1 : worker ? worker->room() : 2;
        Job job;
        while (room-- > 0 && (alone || again.empty() || again.front().deaths == 0) &&
               takeJob(job)) {
            if (!worker) worker = std::make_unique<WorkerProcess>(options.worker);
            worker->give(std::move(job));
        }
        if (worker) worker->send();
    }
}

int Scan::pollMilliseconds() const {
    if (!output.empty()) return 20;
    if (progress.isShown()) return 200;
    const double most = options.timeout > 0 ? options.timeout * 250 : 1000;
    return static_cast<int>(std::clamp(most, 5.0, 1000.0));
}

void Scan::wait() {
    std::vector<pollfd> events;
    bool isFree = false;
    for (const auto& worker : workers) {
        const short wanted = worker && worker->wantsToSend() ? POLLIN | POLLOUT : POLLIN;
        events.push_back(
            {.fd = worker ? worker->descriptor() : -1, .events = wanted, .revents = 0});
        isFree = isFree || !worker || worker->room() > 0;
    }
    const bool asksForNames = namesWait && isFree;
    events.push_back(
        {.fd = asksForNames ? names.descriptor() : -1, .events = POLLIN, .revents = 0});
    const int ready = ::poll(events.data(), events.size(), pollMilliseconds());
    for (std::size_t i = 0; ready > 0 && i < workers.size(); ++i) {
        if ((events[i].revents & POLLOUT) != 0) workers[i]->send();
        if ((events[i].revents & ~POLLOUT) != 0) listen(workers[i]);
    }
    const auto now = Clock::now();
    if (ready == 0 || now - lastFlush > longestUnwritten) {
        output.flush();
        lastFlush = now;
    }
}

void Scan::listen(std::unique_ptr<WorkerProcess>& worker) {
    const bool lives = worker->receive();
    if (!hear(*worker) || !lives) bury(worker, false);
}

/// Takes the answers that have come. False: the worker says what no worker says.
bool Scan::hear(WorkerProcess& worker) {
    Frame kind{};
    std::string_view bytes;
    while (worker.next(kind, bytes)) {
        if (kind == Frame::ready) {
            if (!bytes.empty() && !lackSaid) {
                say("this system has no " + printable(bytes.substr(0, 80)) +
                    ": the workers' sandbox is not whole");
                lackSaid = true;
            }
            continue;
        }
        const bool isAnswer =
            kind == Frame::succeeded || kind == Frame::failed || kind == Frame::nothing;
        const bool isWhole = options.worker.format.csv || kind == Frame::nothing ||
                             (bytes.starts_with(tailStart) && bytes.ends_with('}'));
        if (!isAnswer || !isWhole || worker.jobs.empty() || !isOneLine(bytes)) return false;
        fruitlessStarts = 0;
        const Job job = worker.answered();
        deliver(job, kind, bytes);
    }
    return true;
}

/// Ends the workers whose file takes too long.
void Scan::lookAfter() {
    if (options.timeout <= 0) return;
    const std::chrono::duration<double> most(options.timeout);
    // Twice what a look-round takes at most; see stuckFor.
    const auto step = milliseconds(pollMilliseconds() * 2 + 50);
    const auto now = Clock::now();
    for (auto& worker : workers) {
        if (worker && worker->stuckFor(now, step) >= most) bury(worker, true);
    }
}

/// Ends a worker, finds out over which file it died, and lets others have its jobs. What it took
/// with it is read again, what it was at alone.
void Scan::bury(std::unique_ptr<WorkerProcess>& worker, bool late) {
    const std::optional<int> status = worker->end();
    const std::optional<std::size_t> current = worker->current();
    std::deque<Job> left = std::move(worker->jobs);
    const bool isLate = late && worker->reading();
    const bool fruitless = worker->isFresh() && !current;
    worker.reset();
    if (fruitless && ++fruitlessStarts == mostFruitlessStarts)
        throw std::runtime_error("workers die before they read anything: " + causeOf(status));
    if (current) {
        Job& job = left[*current];
        if (!late) ++job.deaths;
        const bool isGuilty = !late && job.deaths >= deathsToBlame(status);
        if (isLate) refuse(job, "timeout", "took longer than it may");
        if (isGuilty) refuse(job, "crashed", causeOf(status));
        if (isLate || isGuilty) left.erase(left.begin() + static_cast<std::ptrdiff_t>(*current));
    }
    for (; !left.empty(); left.pop_back())
        again.push_front(std::move(left.back()));
}

void Scan::refuse(const Job& job, std::string_view code, const std::string& message) {
    deliver(job, Frame::failed, recordTail(code, message, options.worker.format));
}

void Scan::deliver(const Job& job, Frame kind, std::string_view tail) {
    if (!options.ordered) {
        put(kind, job.head, tail);
        return;
    }
    heldBytes += job.head.size() + tail.size();
    held[job.number] = {kind, job.head, std::string(tail)};
    for (auto first = held.begin(); first != held.end() && first->first == nextToPut;) {
        const Held& record = first->second;
        heldBytes -= record.head.size() + record.tail.size();
        put(record.kind, record.head, record.tail);
        first = held.erase(first);
        ++nextToPut;
    }
}

void Scan::put(Frame kind, std::string_view head, std::string_view tail) {
    if (kind == Frame::nothing) {
        progress.skip();
        return;
    }
    progress.count(kind == Frame::failed);
    output.append(head);
    output.append(tail);
    output.append("\n");
}

}  // namespace kit
