// The plain declarations are defined here, not the checked ones of a hardened build.
#undef _FORTIFY_SOURCE

#include "tests/faults/Faults.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>

namespace {

using faults::How;

thread_local bool armed = false;
thread_local How how;
thread_local long first;
thread_local faults::Record record;

/// Counts a call; true when it is one that shall fail.
bool due() {
    if (!armed || ++record.calls < first) return false;
    const long since = record.calls - first;
    return since == 0 || (how == How::errorThrice && since < 3) || how == How::errorForEver ||
           how == How::shortForEver || how == How::diskFull;
}

bool isError() {
    return how == How::errorOnce || how == How::errorThrice || how == How::errorForEver;
}

template <class Call>
Call* next(const char* name) {
    return reinterpret_cast<Call*>(::dlsym(RTLD_NEXT, name));
}

int fail(int error, bool& noted) {
    ++record.faults;
    noted = true;
    errno = error;
    return -1;
}

/// A call that succeeds or fails as a whole.
template <class Go>
int whole(Go go, bool& noted) {
    const bool now = due();
    if (now && how == How::kill) ::raise(SIGKILL);
    return now && isError() ? fail(EIO, noted) : go();
}

template <class Go>
int whole(Go go) {
    bool ignored = false;
    return whole(go, ignored);
}

/// A transfer of `count` bytes, which may fall short.
template <class Go>
ssize_t transfer(std::size_t count, bool writes, Go go) {
    if (!due()) return go(count);
    if (how == How::diskFull && !writes) return go(count);
    bool ignored = false;
    if (isError() || (how == How::diskFull && record.faults > 0)) {
        return fail(writes ? ENOSPC : EIO, ignored);
    }
    if (how == How::kill) {
        if (writes) go(count / 2);
        ::raise(SIGKILL);
    }
    ++record.faults;
    return go(count / 2 + count % 2);
}

}  // namespace

void faults::arm(How newHow, long at) {
    record = {};
    how = newHow;
    first = at;
    armed = true;
}

faults::Record faults::disarm() {
    armed = false;
    return record;
}

extern "C" {

int open(const char* path, int flags, ...) {
    static auto* const real = next<int(const char*, int, ...)>("open");
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return whole([&] { return real(path, flags, mode); });
}

int fstat(int file, struct stat* facts) noexcept {
    static auto* const real = next<int(int, struct stat*)>("fstat");
    return whole([&] { return real(file, facts); });
}

/// What reached the disk is not looked at here, so that nothing is flushed.
int fsync(int) {
    return whole([] { return 0; });
}

int ftruncate(int file, off_t length) noexcept {
    static auto* const real = next<int(int, off_t)>("ftruncate");
    return whole([&] { return real(file, length); }, record.truncateFailed);
}

int fchmod(int file, mode_t mode) noexcept {
    static auto* const real = next<int(int, mode_t)>("fchmod");
    return whole([&] { return real(file, mode); });
}

int rename(const char* from, const char* to) noexcept {
    static auto* const real = next<int(const char*, const char*)>("rename");
    return whole([&] { return real(from, to); });
}

int unlink(const char* path) noexcept {
    static auto* const real = next<int(const char*)>("unlink");
    return whole([&] { return real(path); }, record.unlinkFailed);
}

ssize_t pread(int file, void* bytes, std::size_t count, off_t at) {
    static auto* const real = next<ssize_t(int, void*, std::size_t, off_t)>("pread");
    return transfer(count, false, [&](std::size_t n) { return real(file, bytes, n, at); });
}

ssize_t pwrite(int file, const void* bytes, std::size_t count, off_t at) {
    static auto* const real = next<ssize_t(int, const void*, std::size_t, off_t)>("pwrite");
    return transfer(count, true, [&](std::size_t n) { return real(file, bytes, n, at); });
}

ssize_t copy_file_range(int from, off_t* fromAt, int to, off_t* toAt, std::size_t count,
                        unsigned flags) {
    static auto* const real =
        next<ssize_t(int, off_t*, int, off_t*, std::size_t, unsigned)>("copy_file_range");
    return transfer(count, true,
                    [&](std::size_t n) { return real(from, fromAt, to, toAt, n, flags); });
}

/// The console's calls are none of the file's; what it says of a fault is not shown.
ssize_t write(int file, const void* bytes, std::size_t count) {
    static auto* const real = next<ssize_t(int, const void*, std::size_t)>("write");
    return armed && file == STDERR_FILENO ? static_cast<ssize_t>(count) : real(file, bytes, count);
}

}  // extern "C"
