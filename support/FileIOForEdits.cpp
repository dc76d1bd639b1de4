#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "support/FileIO.h"
#include "support/WideText.h"

namespace WEKU {

FileStamp::FileStamp(const struct stat& facts)
    : device(facts.st_dev),
      node(facts.st_ino),
      length(static_cast<std::uint64_t>(facts.st_size)),
      changedSeconds(facts.st_mtim.tv_sec),
      changedNanoseconds(facts.st_mtim.tv_nsec) {}

FileStamp FileIO::stamp() const {
    struct stat facts {};
    return isOpen() && ::fstat(descriptor, &facts) == 0 ? FileStamp(facts) : FileStamp{};
}

bool FileIO::isRegular() const {
    struct stat facts {};
    return isOpen() && ::fstat(descriptor, &facts) == 0 && S_ISREG(facts.st_mode);
}

FileStamp FileIO::stampOf(const std::wstring& path) {
    struct stat facts {};
    return ::stat(wchar::wcs2mbs(path).c_str(), &facts) == 0 ? FileStamp(facts) : FileStamp{};
}

std::wstring FileIO::resolve(const std::wstring& path) {
    struct stat facts {};
    // A path that is no link stays as its caller wrote it: messages show it.
    if (::lstat(wchar::wcs2mbs(path).c_str(), &facts) != 0 || !S_ISLNK(facts.st_mode)) return path;
    const std::unique_ptr<char, decltype(&std::free)> real(
        ::realpath(wchar::wcs2mbs(path).c_str(), nullptr), &std::free);
    return real ? wchar::widen(real.get()) : path;
}

bool FileIO::sync() {
    if (!isOpen()) return false;
    if (::fsync(descriptor) == 0) return true;
    shared->writeError = errno;
    return false;
}

bool FileIO::truncate(std::uint64_t newLength) {
    ++shared->changes;
    if (!isOpen() || newLength > INT64_MAX) return false;
    if (::ftruncate(descriptor, static_cast<off_t>(newLength)) == 0) return true;
    shared->writeError = errno;
    return false;
}

bool FileIO::lock() {
    return isOpen() && (::flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK);
}

}  // namespace WEKU
