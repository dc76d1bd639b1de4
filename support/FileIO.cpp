#include "support/FileIO.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "support/Console.h"
#include "support/StandardStreams.h"
#include "support/WideText.h"

namespace WEKU {

bool FileIO_show_process_file_name = false;

namespace {

int openDescriptor(const char* path, int mode) {
    // O_NONBLOCK: a FIFO without a writer must fail like an empty file instead of stopping the run.
    switch (mode) {
        case 'a':
            return openFile(AT_FDCWD, path, O_RDWR | O_NONBLOCK);
        case 'w':
            return openFile(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, 0644);
        default:
            return openFile(AT_FDCWD, path, O_RDONLY | O_NONBLOCK);
    }
}

bool scopedOpen(const std::wstring& path, wchar_t mode, const FileIO::Callback& callback) {
    FileIO file(path, mode);
    return file.handOut(callback);
}

}  // namespace

FileIO::FileIO(const std::wstring& path, wchar_t mode)
    : FileIO(path, mode, openDescriptor(wchar::wcs2mbs(path).c_str(), static_cast<int>(mode))) {}

FileIO::FileIO(const std::wstring& path, wchar_t mode, int given)
    : path(path), mode(static_cast<int>(mode)) {
    if (given < 0) {
        error = errno;
        Console::out(L"open(%ls, '%c') failed.\n", path.c_str(), this->mode);
        return;
    }
    descriptor = given;
}

FileIO::FileIO(FileIO& other)
    : descriptor(other.descriptor),
      path(other.path),
      mode(other.mode),
      shared(other.shared),
      position(other.position),
      owner(false) {}

FileIO::~FileIO() {
    if (owner && isOpen()) ::close(descriptor);
}

bool FileIO::open(const std::wstring& path, const Callback& callback) {
    return scopedOpen(path, L'r', callback);
}

bool FileIO::open_w(const std::wstring& path, const Callback& callback) {
    return scopedOpen(path, L'w', callback);
}

bool FileIO::open_a(const std::wstring& path, const Callback& callback) {
    return scopedOpen(path, L'a', callback);
}

bool FileIO::handOut(const Callback& callback) {
    if (!isOpen()) return false;
    if (FileIO_show_process_file_name) Console::out(L"processing %ls ...\n", name().c_str());
    callback(*this);
    return true;
}

bool FileIO::exist(const std::wstring& path) {
    return open(path, [](FileIO&) {});
}

bool FileIO::rename(const std::wstring& from, const std::wstring& to) {
    return std::rename(wchar::wcs2mbs(from).c_str(), wchar::wcs2mbs(to).c_str()) == 0;
}

bool FileIO::unlink(const std::wstring& path) {
    return ::unlink(wchar::wcs2mbs(path).c_str()) == 0;
}

std::uint64_t FileIO::length() const {
    struct stat facts {};
    if (!isOpen() || ::fstat(descriptor, &facts) != 0 || facts.st_size < 0) return 0;
    return static_cast<std::uint64_t>(facts.st_size);
}

std::uint64_t FileIO::read(unsigned char* bytes, std::uint64_t count) {
    if (!isOpen()) return failed;
    ssize_t n = ::pread(descriptor, bytes, count, static_cast<off_t>(position));
    if (n < 0 && errno == ESPIPE) n = ::read(descriptor, bytes, count);
    if (n > 0) position += static_cast<std::uint64_t>(n);
    return static_cast<std::uint64_t>(n);
}

std::int64_t FileIO::writeOnce(const unsigned char* bytes, std::uint64_t count) {
    ssize_t n = ::pwrite(descriptor, bytes, count, static_cast<off_t>(position));
    if (n < 0 && errno == ESPIPE) n = ::write(descriptor, bytes, count);
    ++shared->changes;
    if (n < 0) shared->writeError = errno;
    if (n > 0) position += static_cast<std::uint64_t>(n);
    return n;
}

std::uint64_t FileIO::write(const unsigned char* bytes, std::uint64_t count) {
    if (!isOpen()) return failed;
    const std::int64_t n = writeOnce(bytes, count);
    if (n < 0 || static_cast<std::uint64_t>(n) < count) shortWrite = true;
    return static_cast<std::uint64_t>(n);
}

bool FileIO::writeAll(const unsigned char* bytes, std::uint64_t count) {
    if (!isOpen()) return false;
    while (count > 0) {
        const std::int64_t n = writeOnce(bytes, count);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            shortWrite = true;
            return false;
        }
        bytes += n;
        count -= static_cast<std::uint64_t>(n);
    }
    return true;
}

std::uint64_t FileIO::readAt(std::uint64_t offset, unsigned char* bytes,
                             std::uint64_t count) const {
    if (!isOpen() || offset > INT64_MAX) return 0;
    std::uint64_t total = 0;
    while (total < count) {
        const ssize_t n =
            ::pread(descriptor, bytes + total, count - total, static_cast<off_t>(offset + total));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        total += static_cast<std::uint64_t>(n);
    }
    return total;
}

bool FileIO::seek(std::int64_t offset, int whence, const wchar_t* message, std::int64_t shown) {
    if (!isOpen()) return false;
    const off_t place = ::lseek(descriptor, offset, whence);
    if (place < 0) {
        const int error = errno;
        Console::out(message, static_cast<long long>(shown),
                     wchar::mbs2wcs(std::strerror(error)).c_str(), error);
        return false;
    }
    position = static_cast<std::uint64_t>(place);
    return true;
}

bool FileIO::seek_set(std::uint64_t offset) {
    const auto signedOffset = static_cast<std::int64_t>(offset);
    return seek(signedOffset, SEEK_SET, L"seek_set(%lld) failed - %ls(%d)\n", signedOffset);
}

bool FileIO::seek_cur(std::int64_t distance) {
    // Reads and writes name their position and leave the descriptor's own place behind.
    std::int64_t place = 0;
    if (__builtin_add_overflow(static_cast<std::int64_t>(position), distance, &place)) place = -1;
    return seek(place, SEEK_SET, L"seek_cur(%lld) failed - %ls(%d)\n", distance);
}

}  // namespace WEKU
