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

namespace {

FileStamp stampFrom(const struct stat& facts) {
    return {static_cast<std::uint64_t>(facts.st_dev), static_cast<std::uint64_t>(facts.st_ino),
            static_cast<std::uint64_t>(facts.st_size),
            static_cast<std::int64_t>(facts.st_mtim.tv_sec),
            static_cast<std::int64_t>(facts.st_mtim.tv_nsec)};
}

}  // namespace

FileStamp FileIO::stamp() const {
    struct stat facts {};
    return isOpen() && ::fstat(descriptor, &facts) == 0 ? stampFrom(facts) : FileStamp{};
}

bool FileIO::isRegular() const {
    struct stat facts {};
    return isOpen() && ::fstat(descriptor, &facts) == 0 && S_ISREG(facts.st_mode);
}

FileStamp FileIO::stampOf(const std::wstring& path) {
    struct stat facts {};
    return ::stat(wchar::wcs2mbs(path).c_str(), &facts) == 0 ? stampFrom(facts) : FileStamp{};
}

bool FileIO::isReplaceable(const std::wstring& path) {
    struct stat facts {};
    return ::stat(wchar::wcs2mbs(path).c_str(), &facts) != 0 || S_ISREG(facts.st_mode);
}

std::wstring FileIO::resolve(const std::wstring& path) {
    struct stat facts {};
    // A path that is no link stays as its caller wrote it: messages show it.
    if (::lstat(wchar::wcs2mbs(path).c_str(), &facts) != 0 || !S_ISLNK(facts.st_mode)) return path;
    const std::unique_ptr<char, decltype(&std::free)> real(
        ::realpath(wchar::wcs2mbs(path).c_str(), nullptr), &std::free);
    return real ? wchar::widen(real.get()) : path;
}

bool FileIO::syncFolderOf(const std::wstring& path) {
    const std::size_t slash = path.rfind(L'/');
    const std::wstring folder = slash == std::wstring::npos ? L"." : path.substr(0, slash + 1);
    const int opened = ::open(wchar::wcs2mbs(folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (opened < 0) return false;
    const bool synced = ::fsync(opened) == 0;
    ::close(opened);
    return synced;
}

bool FileIO::sync() {
    return isOpen() && ::fsync(descriptor) == 0;
}

bool FileIO::truncate(std::uint64_t newLength) {
    return isOpen() && newLength <= INT64_MAX &&
           ::ftruncate(descriptor, static_cast<off_t>(newLength)) == 0;
}

bool FileIO::takePermissions(const FileIO& other) {
    struct stat theirs {};
    struct stat ours {};
    if (!isOpen() || ::fstat(other.descriptor, &theirs) != 0 || ::fstat(descriptor, &ours) != 0) {
        return false;
    }
    const bool ownersDiffer = theirs.st_uid != ours.st_uid || theirs.st_gid != ours.st_gid;
    // Only the superuser may give files away; for all others the copy is their own.
    if (ownersDiffer && ::fchown(descriptor, theirs.st_uid, theirs.st_gid) != 0) errno = 0;
    return ::fchmod(descriptor, theirs.st_mode & 07777) == 0;
}

bool FileIO::lock() {
    return isOpen() && (::flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK);
}

}  // namespace WEKU
