#include "kit/scan/Names.h"

#include <fcntl.h>
#include <poll.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

namespace kit {
namespace {

/// No system takes a longer path; a longer "name" tells that the list is none.
constexpr std::size_t longestName = 1U << 20;
constexpr std::size_t blockSize = 65536;

bool namedAsMedia(std::string_view name) {
    for (const std::string_view extension : {".mp4", ".mov", ".jpg", ".jpeg", ".dng"}) {
        if (name.size() > extension.size() &&
            ::strncasecmp(name.data() + name.size() - extension.size(), extension.data(),
                          extension.size()) == 0) {
            return true;
        }
    }
    return false;
}

ListFailure listFailure(const std::string& list, int error) {
    return ListFailure{list + ": " + std::strerror(error)};
}

}  // namespace

Names::Names(const NameOptions& wishes) : options(wishes) {
    if (!options.list) return;
    if (*options.list == "-") {
        options.list = "standard input";
        file = STDIN_FILENO;
    } else {
        file = ::open(options.list->c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
        if (file < 0) throw listFailure(*options.list, errno);
    }
    struct stat facts {};
    if (::fstat(file, &facts) == 0 && S_ISREG(facts.st_mode))
        listLength = static_cast<std::uint64_t>(facts.st_size);
}

Names::~Names() {
    if (file > STDERR_FILENO) ::close(file);
}

Names::Next Names::next(Name& name) {
    for (;;) {
        name = Name();
        while (!folders.empty()) {
            if (nextInFolder(name)) return Next::name;
        }
        const Next given = nextGiven(name.path);
        if (given != Next::name) return given;
        if (!options.recursive || !enter(name.path)) return Next::name;
    }
}

std::optional<double> Names::part() const {
    if (options.recursive) return std::nullopt;
    if (!options.list) return static_cast<double>(word) / static_cast<double>(options.words.size());
    if (listLength == 0) return std::nullopt;
    return static_cast<double>(listRead - (block.size() - at)) / static_cast<double>(listLength);
}

Names::Next Names::nextGiven(std::string& path) {
    if (word < options.words.size()) {
        path = options.words[word++];
        return Next::name;
    }
    while (file >= 0) {
        const std::size_t end = block.find(options.separator, at);
        if (end == std::string::npos && !listEnded) {
            const Next filled = fill();
            if (filled != Next::name) return filled;
            continue;
        }
        const std::size_t stop = end == std::string::npos ? block.size() : end;
        path.assign(block, at, stop - at);
        at = end == std::string::npos ? stop : end + 1;
        if (!path.empty()) return Next::name;
        if (end == std::string::npos) break;
    }
    return Next::end;
}

/// Reads on in the list, if that does not mean to wait.
Names::Next Names::fill() {
    block.erase(0, at);
    at = 0;
    if (block.size() > longestName) {
        throw ListFailure(*options.list + ": holds a name of more than a million bytes, so it " +
                          "is no list of names" +
                          (options.separator == '\0' ? "" : " (or needs -0)"));
    }
    pollfd ready{.fd = file, .events = POLLIN, .revents = 0};
    if (::poll(&ready, 1, 0) == 0) return Next::wait;
    const std::size_t had = block.size();
    block.resize(had + blockSize);
    const ssize_t n = ::read(file, block.data() + had, blockSize);
    block.resize(had + (n > 0 ? static_cast<std::size_t>(n) : 0));
    if (n < 0 && errno != EINTR && errno != EAGAIN) throw listFailure(*options.list, errno);
    if (n < 0) return Next::wait;
    listRead += static_cast<std::uint64_t>(n);
    listEnded = n == 0;
    return Next::name;
}

/// Whether the path is a folder that could be opened.
bool Names::enter(const std::string& path) {
    DIR* entries = ::opendir(path.c_str());
    if (entries == nullptr) return false;
    folders.push_back(
        {std::unique_ptr<DIR, Close>(entries), path.ends_with('/') ? path : path + '/'});
    return true;
}

/// The next name below the innermost folder. False: there is none yet, ask again while there are
/// folders.
bool Names::nextInFolder(Name& name) {
    Folder& folder = folders.back();
    errno = 0;
    const dirent* entry = ::readdir(folder.entries.get());
    if (entry != nullptr) {
        take(folder, *entry, name);
        return !name.path.empty();
    }
    const int error = errno;
    name.path = folder.prefix;
    folders.pop_back();
    if (error == 0) return false;
    name.folderError = error;
    return true;
}

void Names::take(Folder& folder, const dirent& entry, Name& name) {
    const std::string_view own = entry.d_name;
    if (own == "." || own == "..") return;
    std::string path = folder.prefix + entry.d_name;
    unsigned char kind = entry.d_type;
    struct stat facts {};
    if (kind == DT_UNKNOWN && ::lstat(path.c_str(), &facts) == 0)
        kind = static_cast<unsigned char>(IFTODT(facts.st_mode));
    if (kind == DT_DIR) {
        // `folder` is gone once another is entered.
        if (enter(path)) return;
        name = {.path = std::move(path), .ifMedia = false, .folderError = errno};
        return;
    }
    if (!options.byContent && !namedAsMedia(own)) return;
    // Folders behind links are left out: they may lead round in a circle.
    if (kind == DT_LNK && ::stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode)) return;
    // By content only files have a say; what merely bears a movie's name is told to be no file.
    if (options.byContent && kind != DT_REG && kind != DT_LNK) return;
    name.path = std::move(path);
    name.ifMedia = options.byContent;
}

}  // namespace kit
