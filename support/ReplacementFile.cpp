#include "support/ReplacementFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "support/Console.h"
#include "support/EndingSignals.h"
#include "support/FileAttributes.h"
#include "support/StandardStreams.h"
#include "support/WideText.h"

namespace WEKU {
namespace {

/// A name that does not say whose place the file will take, and is short enough for any folder.
std::string unguessableName() {
    unsigned char bytes[12];
    if (::getentropy(bytes, sizeof bytes) != 0) return {};
    std::string name = ".sondex-";
    for (const unsigned char byte : bytes)
        name += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    return name;
}

int openFolder(const std::string& path) {
    const int opened = openFile(AT_FDCWD, path.c_str(), O_RDONLY | O_DIRECTORY);
#ifdef O_PATH
    // One that may be written but not listed cannot be flushed either.
    if (opened < 0) return openFile(AT_FDCWD, path.c_str(), O_PATH | O_DIRECTORY);
#endif
    return opened;
}

/// The way by which a file without a name gets one.
std::string wayTo(int descriptor) {
    return "/proc/self/fd/" + std::to_string(descriptor);
}

int openUnnamed(int folder, mode_t permissions) {
#ifdef O_TMPFILE
    if (::access(wayTo(folder).c_str(), F_OK) != 0) return -1;
    return openFile(folder, ".", O_TMPFILE | O_RDWR, permissions);
#else
    return static_cast<void>(folder), static_cast<void>(permissions), -1;
#endif
}

}  // namespace

struct ReplacementFile::Made {
    int folder = -1;
    int descriptor = -1;
    std::string name, temporary;
    std::unique_ptr<Leftover> leftover;
};

ReplacementFile::Made ReplacementFile::make(const std::string& path, mode_t permissions) {
    Made made;
    const std::size_t slash = path.rfind('/');
    made.name = slash == std::string::npos ? path : path.substr(slash + 1);
    made.folder = openFolder(slash == std::string::npos ? "." : path.substr(0, slash + 1));
    if (made.folder < 0) return made;
    made.descriptor = openUnnamed(made.folder, permissions);
    if (made.descriptor >= 0) return made;
    made.temporary = unguessableName();
    made.leftover = std::make_unique<Leftover>(made.folder, made.temporary);
    made.descriptor = openFile(made.folder, made.temporary.c_str(),
                               O_CREAT | O_EXCL | O_NOFOLLOW | O_RDWR, permissions);
    return made;
}

ReplacementFile::ReplacementFile(const std::wstring& target, const std::wstring& shown,
                                 mode_t permissions)
    : ReplacementFile(make(wchar::narrow(target), permissions), target, shown) {}

ReplacementFile::ReplacementFile(Made&& made, const std::wstring& target, const std::wstring& shown)
    : FileIO(shown, L'w', made.descriptor),
      target(target),
      folder(made.folder),
      name(std::move(made.name)),
      temporary(std::move(made.temporary)),
      leftover(std::move(made.leftover)) {}

ReplacementFile::~ReplacementFile() {
    if (isOpen() && !temporary.empty()) ::unlinkat(folder, temporary.c_str(), 0);
    leftover.reset();
    if (folder >= 0) ::close(folder);
}

void ReplacementFile::resemble(const FileIO& model) {
    const std::string lost = carryAttributes(model.descriptor, descriptor);
    if (lost.empty()) return;
    Console::warn("%s: could not be carried over: %s", wchar::narrow(target).c_str(), lost.c_str());
}

FileStamp ReplacementFile::standing() const {
    struct stat facts {};
    const bool stands = ::fstatat(folder, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) == 0;
    return stands ? FileStamp(facts) : FileStamp{};
}

bool ReplacementFile::mayTakePlace() const {
    struct stat facts {};
    const bool stands = ::fstatat(folder, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) == 0;
    return stands ? S_ISREG(facts.st_mode) : errno == ENOENT;
}

bool ReplacementFile::isOwn(const std::string& entry) const {
    struct stat facts {};
    return ::fstatat(folder, entry.c_str(), &facts, AT_SYMLINK_NOFOLLOW) == 0 &&
           FileStamp(facts).sameFile(stamp());
}

bool ReplacementFile::linkAs(const std::string& newName) const {
    if (!temporary.empty()) {
        return ::linkat(folder, temporary.c_str(), folder, newName.c_str(), 0) == 0;
    }
    return ::linkat(AT_FDCWD, wayTo(descriptor).c_str(), folder, newName.c_str(),
                    AT_SYMLINK_FOLLOW) == 0;
}

/// Gives the file its target's name, the one that stands there replaced or a failure.
bool ReplacementFile::enterFolder(bool overwrites) {
    if (!overwrites && (temporary.empty() || isOwn(temporary))) {
        if (linkAs(name)) return true;
        // A file system may have no second names; then nothing guards the moment in between.
        if (errno == EEXIST || temporary.empty()) return false;
    }
    if (temporary.empty()) {
        std::string passing = unguessableName();
        leftover = std::make_unique<Leftover>(folder, passing);
        if (!linkAs(passing)) return false;
        temporary = std::move(passing);
    }
    // Whoever may write the folder may have put something else there.
    if (!isOwn(temporary)) return errno = ESTALE, false;
    if (::renameat(folder, temporary.c_str(), folder, name.c_str()) != 0) return false;
    temporary.clear();
    return true;
}

bool ReplacementFile::takePlace(const FileStamp& expected) {
    const FileStamp own = stamp();
    const char* reason = nullptr;
    errno = 0;
    if (own.node == 0 || standing() != expected) {
        reason = "it has changed meanwhile";
    } else if (!enterFolder(expected.node != 0)) {
        reason = std::strerror(errno);
    } else if (const FileStamp now = standing(); now.node != 0 && !now.sameFile(own)) {
        reason = "it was replaced at once";
    }
    if (reason != nullptr) {
        Console::warn("%s cannot be written: %s", wchar::narrow(target).c_str(), reason);
        return false;
    }
    ::fsync(folder);
    return true;
}

}  // namespace WEKU
