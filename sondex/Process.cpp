#include "sondex/Process.h"

#include <csignal>

#include "support/EndingSignals.h"
#include "support/StandardStreams.h"

void sondex::prepareProcess() {
    WEKU::holdStandardStreams();
    WEKU::handleEndingSignals();
    std::signal(SIGPIPE, SIG_IGN);
}
