#include "support/FileState.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "support/WideText.h"

namespace WEKU::FileState {
namespace {

std::string words(int error) {
    return error == 0 ? std::string() : std::strerror(error);
}

/// The error that stands against an access of this mode to what `path` names; 0 for none.
int obstacle(const std::string& path, int mode) {
    struct stat state;
    if (::stat(path.c_str(), &state) != 0) return errno;
    if (S_ISDIR(state.st_mode)) return EISDIR;
    return ::faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0 ? 0 : errno;
}

}  // namespace

bool isFolder(const std::wstring& path) {
    return obstacle(wchar::narrow(path), F_OK) == EISDIR;
}

std::string whyUnreadable(const std::wstring& path) {
    return words(obstacle(wchar::narrow(path), R_OK));
}

std::string whyUnwritable(const std::wstring& path) {
    const std::string name = wchar::narrow(path);
    const int error = obstacle(name, W_OK);
    if (error != ENOENT || name.empty()) return words(error);
    // It would be a new file: its folder decides.
    const std::string folder = name.substr(0, name.rfind('/') + 1) + ".";
    return words(::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno);
}

std::string headOf(const std::wstring& path, std::size_t most) {
    const int descriptor =
        ::open(wchar::narrow(path).c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) return {};
    std::string head(most, '\0');
    const ssize_t n = ::read(descriptor, head.data(), most);
    ::close(descriptor);
    head.resize(static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
    return head;
}

}  // namespace WEKU::FileState
