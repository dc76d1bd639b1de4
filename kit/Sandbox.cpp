#include "kit/Sandbox.h"

#ifdef __linux__

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#ifdef SONDEXKIT_SECCOMP
#include <seccomp.h>

#include <memory>
#include <vector>
#endif

namespace {
#ifdef __SANITIZE_ADDRESS__
[[maybe_unused]] constexpr bool isSanitized = true;
#else
[[maybe_unused]] constexpr bool isSanitized = false;
#endif
bool isSandboxed = false;
}  // namespace

/// Asked by the sanitizers at the end: a search for leaks would trace this process from another,
/// which a sandbox refuses.
extern "C" int __lsan_is_turned_off() {
    return isSandboxed;
}

namespace kit {
namespace {

// Landlock's interface, which C libraries do not wrap and whose header is older on most systems
// than the kernel. Each version of it knows more rights; those that it does not know are refused.
#ifndef SYS_landlock_create_ruleset
#define SYS_landlock_create_ruleset 444
#define SYS_landlock_restrict_self 446
#endif

struct LandlockRules {
    std::uint64_t files = 0;
    std::uint64_t network = 0;
    std::uint64_t scopes = 0;
};

/// A right that is handled and that no rule grants is denied. Reading files and folders (bits 2
/// and 3) is not handled and stays as it was.
LandlockRules rulesOf(long version) {
    LandlockRules rules;
    rules.files = 0x1FFFU & ~0xCU;              // run, write, remove, make
    if (version >= 2) rules.files |= 1U << 13;  // move between folders
    if (version >= 3) rules.files |= 1U << 14;  // truncate
    if (version >= 5) rules.files |= 1U << 15;  // device controls
    if (version >= 4) rules.network = 3;        // bind and connect TCP
    if (version >= 6) rules.scopes = 3;         // abstract sockets and signals of others
    return rules;
}

bool enterLandlock() {
    const long version = ::syscall(SYS_landlock_create_ruleset, nullptr, 0, 1U);
    if (version < 1) return false;
    const LandlockRules rules = rulesOf(version);
    const std::size_t size = version >= 6 ? sizeof rules : version >= 4 ? 16 : 8;
    const long ruleset = ::syscall(SYS_landlock_create_ruleset, &rules, size, 0U);
    if (ruleset < 0) return false;
    const bool entered = ::syscall(SYS_landlock_restrict_self, ruleset, 0U) == 0;
    ::close(static_cast<int>(ruleset));
    return entered;
}

#ifdef SONDEXKIT_SECCOMP

/// What reading, decoding and answering need, whatever their arguments.
constexpr int harmless[] = {
    SCMP_SYS(read), SCMP_SYS(pread64), SCMP_SYS(readv), SCMP_SYS(preadv), SCMP_SYS(write),
    SCMP_SYS(pwrite64), SCMP_SYS(writev), SCMP_SYS(lseek), SCMP_SYS(close), SCMP_SYS(fstat),
    SCMP_SYS(stat), SCMP_SYS(lstat), SCMP_SYS(newfstatat), SCMP_SYS(statx), SCMP_SYS(access),
    SCMP_SYS(faccessat), SCMP_SYS(faccessat2), SCMP_SYS(readlink), SCMP_SYS(readlinkat),
    SCMP_SYS(getdents64), SCMP_SYS(getcwd), SCMP_SYS(fadvise64), SCMP_SYS(readahead),
    SCMP_SYS(poll), SCMP_SYS(ppoll), SCMP_SYS(mmap), SCMP_SYS(munmap), SCMP_SYS(mprotect),
    SCMP_SYS(mremap), SCMP_SYS(madvise), SCMP_SYS(brk), SCMP_SYS(futex), SCMP_SYS(set_robust_list),
    SCMP_SYS(rseq), SCMP_SYS(membarrier), SCMP_SYS(exit), SCMP_SYS(exit_group),
    SCMP_SYS(restart_syscall), SCMP_SYS(rt_sigaction), SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigreturn), SCMP_SYS(sigaltstack), SCMP_SYS(clock_gettime), SCMP_SYS(clock_getres),
    SCMP_SYS(clock_nanosleep), SCMP_SYS(nanosleep), SCMP_SYS(gettimeofday), SCMP_SYS(time),
    SCMP_SYS(getpid), SCMP_SYS(getppid), SCMP_SYS(gettid), SCMP_SYS(getuid), SCMP_SYS(geteuid),
    SCMP_SYS(getgid), SCMP_SYS(getegid), SCMP_SYS(getrandom), SCMP_SYS(sched_yield),
    SCMP_SYS(sched_getaffinity), SCMP_SYS(sysinfo), SCMP_SYS(uname), SCMP_SYS(getrusage),
    SCMP_SYS(getrlimit),
    // A library behind the decoder complains aloud where it may not lock its secrets' pages.
    SCMP_SYS(mlock), SCMP_SYS(munlock), SCMP_SYS(fstatfs), SCMP_SYS(statfs)};

constexpr unsigned writingFlags =
    O_ACCMODE | O_CREAT | O_TRUNC | O_APPEND | (O_TMPFILE & ~O_DIRECTORY);

/// The argument of a call, by its place, has these bits of the mask.
scmp_arg_cmp bits(unsigned place, scmp_datum_t mask, scmp_datum_t wanted) {
    return {place, SCMP_CMP_MASKED_EQ, mask, wanted};
}

scmp_arg_cmp is(unsigned place, scmp_datum_t wanted) {
    return {place, SCMP_CMP_EQ, wanted, 0};
}

bool enterSeccomp() {
    // Refused calls fail; a library that tries one in vain goes on without.
    const std::unique_ptr<void, void (*)(void*)> filter(seccomp_init(SCMP_ACT_ERRNO(EPERM)),
                                                        seccomp_release);
    if (!filter) return false;
    // A tree of comparisons instead of one behind the other.
    seccomp_attr_set(filter.get(), SCMP_FLTATR_CTL_OPTIMIZE, 2);
    bool built = true;
    const auto allow = [&](int call, std::vector<scmp_arg_cmp> conditions = {}) {
        // A call that this processor does not have cannot be allowed, and need not be.
        const int outcome =
            seccomp_rule_add_array(filter.get(), SCMP_ACT_ALLOW, call,
                                   static_cast<unsigned>(conditions.size()), conditions.data());
        built = built && (outcome == 0 || outcome == -EDOM);
    };
    for (const int call : harmless)
        allow(call);
    // The sanitizers look through a pipe whether an object's memory can be read.
    if (isSanitized) allow(SCMP_SYS(pipe2));
    allow(SCMP_SYS(open), {bits(1, writingFlags, 0)});
    allow(SCMP_SYS(openat), {bits(2, writingFlags, 0)});
    allow(SCMP_SYS(clone), {bits(0, CLONE_THREAD, CLONE_THREAD)});
    // abort signals itself.
    allow(SCMP_SYS(tgkill), {is(0, static_cast<scmp_datum_t>(::getpid()))});
    allow(SCMP_SYS(prlimit64), {is(2, 0)});
    allow(SCMP_SYS(prctl), {is(0, PR_SET_NAME)});
    for (const int command : {F_GETFD, F_SETFD, F_GETFL, F_SETFL, F_DUPFD, F_DUPFD_CLOEXEC})
        allow(SCMP_SYS(fcntl), {is(1, static_cast<scmp_datum_t>(command))});
    // Their flags lie in memory, where a filter cannot look; the C library falls back.
    for (const int call : {SCMP_SYS(clone3), SCMP_SYS(openat2)}) {
        const int outcome = seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(ENOSYS), call, 0);
        built = built && (outcome == 0 || outcome == -EDOM);
    }
    return built && seccomp_load(filter.get()) == 0;
}

#else

bool enterSeccomp() {
    return false;
}

#endif

}  // namespace

Sandbox enterSandbox() {
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return {};
    isSandboxed = true;
    const bool fileSystem = enterLandlock();
    return {fileSystem, enterSeccomp()};
}

}  // namespace kit

#else

namespace kit {

Sandbox enterSandbox() {
    return {};
}

}  // namespace kit

#endif
