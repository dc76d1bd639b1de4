#include "kit/Confined.h"

#include <sys/wait.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <system_error>

#include "kit/Command.h"
#include "kit/Sandbox.h"

namespace kit {
namespace {

int guarded(const std::function<int()>& work) {
    try {
        enterSandbox();
        return work();
    } catch (const std::exception& failure) {
        complain(failure.what());
        return stopped;
    }
}

}  // namespace

int runConfined(const std::function<int()>& work) {
    std::fflush(stdout);
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child < 0) throw std::system_error(errno, std::generic_category(), "a process");
    if (child == 0) {
#ifdef __linux__
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
        // Not exit: what the parent opened is the parent's to clear away.
        ::_exit(::getppid() == parent ? guarded(work) : stopped);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : crashed;
}

}  // namespace kit
