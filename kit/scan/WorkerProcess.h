#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "kit/scan/Worker.h"

namespace kit {

/// A file to be read.
struct Job {
    std::uint64_t number = 0;
    std::string path;
    /// The start of its record.
    std::string head;
    bool ifMedia = false;
    /// Workers that died over it, or over its neighbours.
    int deaths = 0;
};

/// The parent's end of a worker. Nothing here blocks.
class WorkerProcess {
  public:
    using Clock = std::chrono::steady_clock;

    /// Throws std::system_error.
    explicit WorkerProcess(const WorkerOptions& options);
    /// Kills it.
    ~WorkerProcess();
    WorkerProcess(const WorkerProcess&) = delete;
    WorkerProcess& operator=(const WorkerProcess&) = delete;

    void give(Job job);

    /// Sends what there is room for.
    void send();

    /// Reads what has come. False: the worker is gone, or talks nonsense.
    bool receive();

    /// The next frame that has come whole; views stay valid until the next `receive`.
    bool next(Frame& kind, std::string_view& bytes);

    /// Takes the job that the last answer was for out of `jobs`. Answers come in the order of the
    /// jobs.
    Job answered();

    /// How many more jobs it should be given now: some milliseconds of work.
    [[nodiscard]] std::size_t room() const;

    /// The place in `jobs` of what the worker began and did not deliver; none when that is nothing.
    [[nodiscard]] std::optional<std::size_t> current() const;
    /// It is reading a file right now.
    [[nodiscard]] bool reading() const;

    /// Adds to the time for which the worker got nowhere, and returns it. A step longer than `most`
    /// counts as that: then this process was stopped, and the worker with it.
    Clock::duration stuckFor(Clock::time_point now, Clock::duration most);

    /// Ends it and returns its wait status; no status if the system does not let go of it yet.
    std::optional<int> end();

    [[nodiscard]] int descriptor() const { return socket; }
    [[nodiscard]] bool wantsToSend() const { return sent < out.size(); }
    [[nodiscard]] bool isFresh() const { return answers == 0; }

    std::deque<Job> jobs;

  private:
    pid_t process = -1;
    int socket = -1;
    WorkerProgress* progress = nullptr;

    std::string out;
    std::size_t sent = 0;
    std::string in;
    std::size_t taken = 0;
    std::uint64_t answers = 0;

    Clock::time_point lastAnswer;
    double secondsPerFile = 0.004;
    std::uint64_t lastStep = 0;
    Clock::time_point lastLook;
    Clock::duration stuck{};
};

}  // namespace kit
