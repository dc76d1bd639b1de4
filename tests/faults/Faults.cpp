// The plain declarations are defined here, not the checked ones of a hardened build.
#undef _FORTIFY_SOURCE

#include "tests/faults/Faults.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

namespace {

using faults::How;

thread_local bool armed = false;
thread_local How how;
thread_local long left;
thread_local std::size_t seed;
thread_local int seen;
bool namesAll = false;
const char* awaited = "";
std::function<void()> awaitedStep;

/// Counts a call; true when it is one that shall fail.
bool due() {
    if (!armed || --left > 0) return false;
    seen |= faults::reached;
    return left == 0 || (how == How::errorThrice && left > -3) || how == How::errorForEver ||
           how == How::shortForEver || how == How::diskFull;
}

void endIfAsked() {
    if (how == How::kill) ::raise(SIGKILL);
    if (how == How::terminate) ::raise(std::array{SIGTERM, SIGHUP, SIGINT}[seed % 3]);
}

bool isError() {
    return how == How::errorOnce || how == How::errorThrice || how == How::errorForEver;
}

int fail(int error, int bits = 0) {
    seen |= faults::struck | bits;
    errno = error;
    return -1;
}

/// Takes the step that was asked for ahead of this call.
void stepAhead(const char* name) {
    if (std::strcmp(name, awaited) != 0) return;
    awaited = "";
    // It may ask for the next.
    const auto step = std::exchange(awaitedStep, {});
    step();
}

/// Hands a call on to the system.
template <class Call, class... Arguments>
auto handOn(const char* name, Arguments... arguments) {
    stepAhead(name);
    return reinterpret_cast<Call*>(::dlsym(RTLD_NEXT, name))(arguments...);
}

/// A call that succeeds or fails as a whole.
template <class Call, class... Arguments>
int whole(int bits, const char* name, Arguments... arguments) {
    const bool now = due();
    if (now) endIfAsked();
    return now && isError() ? fail(EIO, bits) : handOn<Call>(name, arguments...);
}

/// A transfer of `count` bytes, which may fall short.
template <class Go>
ssize_t transfer(std::size_t count, bool writes, Go go) {
    if (!due() || (how == How::diskFull && !writes)) return go(count);
    if (isError() || (how == How::diskFull && (seen & faults::struck) != 0))
        return fail(writes ? ENOSPC : EIO);
    if (writes && (how == How::kill || how == How::terminate)) go(count / 2);
    endIfAsked();
    seen |= faults::struck;
    return go(count / 2 + count % 2);
}

}  // namespace

void faults::arm(How newHow, long at) {
    how = newHow;
    left = at;
    seed = static_cast<std::size_t>(at);
    seen = 0;
    armed = true;
}

int faults::disarm() {
    armed = false;
    return seen;
}

void faults::nameAllFiles(bool all) {
    namesAll = all;
}

void faults::before(const char* call, std::function<void()> step) {
    awaitedStep = std::move(step);
    awaited = call;
}

extern "C" {

int openat(int folder, const char* path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const bool makes = (flags & (O_CREAT | (O_TMPFILE & ~O_DIRECTORY))) != 0;
    const mode_t mode = makes ? va_arg(more, mode_t) : 0;
    va_end(more);
    if (namesAll && (flags & O_TMPFILE) == O_TMPFILE) return fail(EOPNOTSUPP);
    const int file = whole<int(int, const char*, int, ...)>(0, "openat", folder, path, flags, mode);
    const bool writes = (flags & (O_WRONLY | O_RDWR)) != 0;
    if (writes && file >= 0 && file <= STDERR_FILENO) seen |= faults::tookStream;
    return file;
}

int fstat(int file, struct stat* facts) noexcept {
    return whole<int(int, struct stat*)>(0, "fstat", file, facts);
}

/// What reached the disk is not looked at here, so that nothing is flushed.
int fsync(int file) {
    stepAhead("fsync");
    const int bits = (::fcntl(file, F_GETFL) & O_DIRECTORY) != 0 ? 0 : faults::flushFailed;
    return whole<int(int, int)>(bits, "fcntl", file, F_GETFD) < 0 ? -1 : 0;
}

int ftruncate(int file, off_t length) noexcept {
    return whole<int(int, off_t)>(faults::truncateFailed, "ftruncate", file, length);
}

int fstatat(int folder, const char* path, struct stat* facts, int flags) noexcept {
    return whole<int(int, const char*, struct stat*, int)>(0, "fstatat", folder, path, facts,
                                                           flags);
}

int flock(int file, int operation) noexcept {
    return handOn<int(int, int)>("flock", file, operation);
}

int linkat(int from, const char* path, int to, const char* name, int flags) noexcept {
    return whole<int(int, const char*, int, const char*, int)>(0, "linkat", from, path, to, name,
                                                               flags);
}

int renameat(int from, const char* path, int to, const char* name) noexcept {
    return whole<int(int, const char*, int, const char*)>(0, "renameat", from, path, to, name);
}

int unlinkat(int folder, const char* path, int flags) noexcept {
    return whole<int(int, const char*, int)>(faults::unlinkFailed, "unlinkat", folder, path, flags);
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

}  // extern "C"
