#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "kit/scan/Names.h"
#include "kit/scan/Output.h"
#include "kit/scan/Progress.h"
#include "kit/scan/Resume.h"
#include "kit/scan/WorkerProcess.h"

namespace kit {

struct ScanOptions {
    WorkerOptions worker = {};
    unsigned jobs = 1;
    /// Seconds that one file may take; 0: any.
    double timeout = 0;
    /// Records in the order of the names.
    bool ordered = false;
};

/// Reads every name's file in worker processes and writes one record each. Whatever a file does to
/// its worker costs that file's record; the others never notice.
class Scan {
  public:
    using Say = std::function<void(const std::string&)>;

    /// `say` receives what is to be told once: a sandbox that the system lacks.
    Scan(const ScanOptions& options, Names& names, const Done& done, Output& output,
         Progress& progress, Say say);

    /// Throws ListFailure, OutputFailure and std::system_error.
    void run();

  private:
    using Clock = WorkerProcess::Clock;

    bool pullName(Job& job);
    bool takeJob(Job& job);
    void dispatch();
    void wait();
    void listen(std::unique_ptr<WorkerProcess>& worker);
    bool hear(WorkerProcess& worker);
    void lookAfter();
    void bury(std::unique_ptr<WorkerProcess>& worker, bool late);
    void refuse(const Job& job, std::string_view code, const std::string& message);
    void deliver(const Job& job, Frame kind, std::string_view tail);
    void put(Frame kind, std::string_view head, std::string_view tail);
    [[nodiscard]] bool windowIsFull() const;
    [[nodiscard]] int pollMilliseconds() const;

    const ScanOptions& options;
    Names& names;
    const Done& done;
    Output& output;
    Progress& progress;
    Say say;

    std::vector<std::unique_ptr<WorkerProcess>> workers;
    bool lackSaid = false;
    int fruitlessStarts = 0;

    bool namesEnded = false;
    bool namesWait = false;
    std::uint64_t nextNumber = 0;
    /// To be given to another worker: theirs died.
    std::deque<Job> again;

    /// With `ordered`: finished records that wait for an earlier one.
    struct Held {
        Frame kind = Frame::nothing;
        std::string head;
        std::string tail;
    };
    std::map<std::uint64_t, Held> held;
    std::size_t heldBytes = 0;
    std::uint64_t nextToPut = 0;

    Clock::time_point lastFlush;
};

}  // namespace kit
