#include "support/EndingSignals.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstring>

namespace WEKU {

/// What a signal handler can look at: no allocation, no lock.
struct Slot {
    static constexpr int unused = -1;
    static constexpr int beingFilled = -2;

    std::atomic<int> folder = unused;
    char name[64];
};

namespace {

/// More edits at once than any program makes; what finds no slot stays unguarded.
Slot slots[16];

void removeAndEnd(int signal) {
    for (const Slot& slot : slots) {
        const int folder = slot.folder.load();
        if (folder >= 0) ::unlinkat(folder, slot.name, 0);
    }
    // Its default action is in force again, and the signal is not blocked.
    ::raise(signal);
}

}  // namespace

Leftover::Leftover(int folder, const std::string& name) {
    if (name.size() >= sizeof Slot::name) return;
    for (Slot& candidate : slots) {
        int expected = Slot::unused;
        if (!candidate.folder.compare_exchange_strong(expected, Slot::beingFilled)) continue;
        std::memcpy(candidate.name, name.c_str(), name.size() + 1);
        candidate.folder.store(folder);
        slot = &candidate;
        return;
    }
}

Leftover::~Leftover() {
    if (slot != nullptr) slot->folder.store(Slot::unused);
}

void handleEndingSignals() {
    ::signal(SIGXFSZ, SIG_IGN);
    for (const int signal : {SIGTERM, SIGHUP, SIGINT}) {
        struct sigaction action {};
        ::sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_IGN) continue;
        action = {};
        action.sa_handler = removeAndEnd;
        action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
        ::sigaction(signal, &action, nullptr);
    }
}

}  // namespace WEKU
