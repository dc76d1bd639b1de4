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
#include <utility>

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

int fail(const char* name, int error) {
    record.struck.insert(name);
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
int whole(const char* name, Arguments... arguments) {
    const bool now = due();
    if (now && how == How::kill) ::raise(SIGKILL);
    return now && isError() ? fail(name, EIO) : handOn<Call>(name, arguments...);
}

/// A transfer of `count` bytes, which may fall short.
template <class Go>
ssize_t transfer(const char* name, std::size_t count, Go go) {
    const bool writes = name != std::string("pread");
    if (!due() || (how == How::diskFull && !writes)) return go(count);
    if (isError() || (how == How::diskFull && !record.struck.empty()))
        return fail(name, writes ? ENOSPC : EIO);
    if (how == How::kill) {
        if (writes) go(count / 2);
        ::raise(SIGKILL);
    }
    record.struck.insert(name);
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
    return std::exchange(record, {});
}

extern "C" {

int open(const char* path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return whole<int(const char*, int, ...)>("open", path, flags, mode);
}

int fstat(int file, struct stat* facts) noexcept {
    return whole<int(int, struct stat*)>("fstat", file, facts);
}

/// What reached the disk is not looked at here, so that nothing is flushed.
int fsync(int file) {
    return whole<int(int, int)>("fcntl", file, F_GETFD) < 0 ? -1 : 0;
}

int ftruncate(int file, off_t length) noexcept {
    return whole<int(int, off_t)>("ftruncate", file, length);
}

int fchmod(int file, mode_t mode) noexcept {
    return whole<int(int, mode_t)>("fchmod", file, mode);
}

int rename(const char* from, const char* to) noexcept {
    return whole<int(const char*, const char*)>("rename", from, to);
}

int unlink(const char* path) noexcept {
    return whole<int(const char*)>("unlink", path);
}

ssize_t pread(int file, void* bytes, std::size_t count, off_t at) {
    return transfer("pread", count, [&](std::size_t n) {
        return handOn<ssize_t(int, void*, std::size_t, off_t)>("pread", file, bytes, n, at);
    });
}

ssize_t pwrite(int file, const void* bytes, std::size_t count, off_t at) {
    return transfer("pwrite", count, [&](std::size_t n) {
        return handOn<ssize_t(int, const void*, std::size_t, off_t)>("pwrite", file, bytes, n, at);
    });
}

ssize_t copy_file_range(int from, off_t* fromAt, int to, off_t* toAt, std::size_t count,
                        unsigned flags) {
    return transfer("copy_file_range", count, [&](std::size_t n) {
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
