#include "kit/Sandbox.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <thread>

namespace {

bool opens(const char* path, int flags) {
    const int file = ::open(path, flags, 0600);
    if (file >= 0) ::close(file);
    return file >= 0;
}

bool runs() {
    char* const words[] = {const_cast<char*>("true"), nullptr};
    ::execv("/bin/true", words);
    return false;  // else the child ends with 0 and not with its own word
}

bool forks() {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(0);
    return child > 0;
}

bool threadRuns() {
    bool ran = false;
    std::thread([&] { ran = true; }).join();
    return ran;
}

struct Attempt {
    const char* name;
    bool (*succeeds)();
    bool allowed;
};

constexpr int done = 200;
constexpr rlimit none{};

// clang-format off
// Each is a way out that one forgotten rule would leave open.
const Attempt attempts[] = {
    {"read a file", [] { return opens("/proc/self/exe", O_RDONLY); }, true},
    {"list a folder", [] { return opens("/", O_RDONLY | O_DIRECTORY); }, true},
    {"start a thread", threadRuns, true},
    {"write a file", [] { return opens("existing", O_WRONLY); }, false},
    {"change a file", [] { return opens("existing", O_RDWR); }, false},
    {"empty a file", [] { return opens("existing", O_RDONLY | O_TRUNC); }, false},
    {"make a file", [] { return opens("made", O_RDONLY | O_CREAT); }, false},
    {"make a nameless file", [] { return opens(".", O_TMPFILE | O_RDWR); }, false},
    {"make a folder", [] { return ::mkdir("made", 0700) == 0; }, false},
    {"remove a file", [] { return ::unlink("existing") == 0; }, false},
    {"move a file", [] { return ::rename("existing", "moved") == 0; }, false},
    {"change rights", [] { return ::chmod("existing", 0777) == 0; }, false},
    {"open a connection", [] { return ::socket(AF_INET, SOCK_STREAM, 0) >= 0; }, false},
    {"open a local connection", [] { return ::socket(AF_UNIX, SOCK_STREAM, 0) >= 0; }, false},
    {"signal another process", [] { return ::kill(::getppid(), 0) == 0; }, false},
    {"trace another process", [] { return ::ptrace(PTRACE_ATTACH, ::getppid(), nullptr, nullptr) == 0; }, false},
    {"start a process", forks, false},
    {"change a limit", [] { return ::setrlimit(RLIMIT_CORE, &none) == 0; }, false},
    {"run a program", runs, false},
};
// clang-format on

/// Makes the attempts in a child behind the sandbox; the first that comes out otherwise, or none.
std::string firstSurprise() {
    const pid_t child = ::fork();
    if (child == 0) {
        if (!kit::enterSandbox().whole()) ::_exit(done + 1);
        int at = 0;
        for (const Attempt& attempt : attempts) {
            if (attempt.succeeds() != attempt.allowed) ::_exit(at + 1);
            ++at;
        }
        ::_exit(done);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!WIFEXITED(status)) return "ended by a signal";
    const int word = WEXITSTATUS(status);
    if (word == done) return "";
    if (word == done + 1) return "no sandbox";
    return word == 0 ? "run a program" : attempts[word - 1].name;
}

}  // namespace

TEST(Sandbox, LetsFilesBeReadAndNothingElseBeDone) {
    const std::string folder =
        testing::TempDir() + "sondexkit-sandbox-" + std::to_string(::getpid());
    ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
    ASSERT_EQ(::chdir(folder.c_str()), 0);
    ASSERT_TRUE(opens("existing", O_WRONLY | O_CREAT));
    const std::string surprise = firstSurprise();
    if (surprise == "no sandbox") GTEST_SKIP() << "this system has no whole sandbox";
    EXPECT_EQ(surprise, "");
    ::unlink("existing");
    ::rmdir(folder.c_str());
}
