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
thread_local long left;
thread_local int seen;

/// Counts a call; true when it is one that shall fail.
bool due() {
    if (!armed || --left > 0) return false;
    seen |= faults::reached;
    return left == 0 || (how == How::errorThrice && left > -3) || how == How::errorForEver ||
           how == How::shortForEver || how == How::diskFull;
}

bool isError() {
    return how == How::errorOnce || how == How::errorThrice || how == How::errorForEver;
}

int fail(int error, int bits = 0) {
    seen |= faults::struck | bits;
    errno = error;
    return -1;
}

/// Hands a call on to the system.
template <class Call, class... Arguments>
auto handOn(const char* name, Arguments... arguments) {
    return reinterpret_cast<Call*>(::dlsym(RTLD_NEXT, name))(arguments...);
}

/// A call that succeeds or fails as a whole.
template <class Call, class... Arguments>
int whole(int bits, const char* name, Arguments... arguments) {
    const bool now = due();
    if (now && how == How::kill) ::raise(SIGKILL);
    return now && isError() ? fail(EIO, bits) : handOn<Call>(name, arguments...);
}

/// A transfer of `count` bytes, which may fall short.
template <class Go>
ssize_t transfer(std::size_t count, bool writes, Go go) {
    if (!due() || (how == How::diskFull && !writes)) return go(count);
    if (isError() || (how == How::diskFull && (seen & faults::struck) != 0))
        return fail(writes ? ENOSPC : EIO);
    if (how == How::kill) {
        if (writes) go(count / 2);
        ::raise(SIGKILL);
    }
    seen |= faults::struck;
    return go(count / 2 + count % 2);
}

}  // namespace

void faults::arm(How newHow, long at) {
    how = newHow;
    left = at;
    seen = 0;
    armed = true;
}

int faults::disarm() {
    armed = false;
    return seen;
}

extern "C" {

int open(const char* path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return whole<int(const char*, int, ...)>(0, "open", path, flags, mode);
}

int fstat(int file, struct stat* facts) noexcept {
    return whole<int(int, struct stat*)>(0, "fstat", file, facts);
}

/// What reached the disk is not looked at here, so that nothing is flushed.
int fsync(int file) {
    return whole<int(int, int)>(0, "fcntl", file, F_GETFD) < 0 ? -1 : 0;
}

int ftruncate(int file, off_t length) noexcept {
    return whole<int(int, off_t)>(faults::truncateFailed, "ftruncate", file, length);
}

int fchmod(int file, mode_t mode) noexcept {
    return whole<int(int, mode_t)>(0, "fchmod", file, mode);
}

int rename(const char* from, const char* to) noexcept {
    return whole<int(const char*, const char*)>(0, "rename", from, to);
}

int unlink(const char* path) noexcept {
    return whole<int(const char*)>(faults::unlinkFailed, "unlink", path);
}

ssize_t pread(int file, void* bytes, std::size_t count, off_t at) {
    return transfer(count, false, [&](std::size_t n) {
        return handOn<ssize_t(int, void*, std::size_t, off_t)>("pread", file, bytes, n, at);
    });
}

ssize_t pwrite(int file, const void* bytes, std::size_t count, off_t at) {
    return transfer(count, true, [&](std::size_t n) {
        return handOn<ssize_t(int, const void*, std::size_t, off_t)>("pwrite", file, bytes, n, at);
    });
}

ssize_t copy_file_range(int from, off_t* fromAt, int to, off_t* toAt, std::size_t count,
                        unsigned flags) {
    return transfer(count, true, [&](std::size_t n) {
        return handOn<ssize_t(int, off_t*, int, off_t*, std::size_t, unsigned)>(
            "copy_file_range", from, fromAt, to, toAt, n, flags);
    });
}

/// The console's calls are none of the file's; what it says of a fault is not shown.
ssize_t write(int file, const void* bytes, std::size_t count) {
    if (armed && file == STDERR_FILENO) return static_cast<ssize_t>(count);
    return handOn<ssize_t(int, const void*, std::size_t)>("write", file, bytes, count);
}

}  // extern "C"
