#include "probe/DecoderLoader.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "support/Console.h"

namespace {

constexpr char moduleFile[] = "sondex-video.so";

// Paths are handled as plain texts: std::filesystem would bring the whole of the locale library
// into the program, and every start would pay for it.

/// Up to the last slash, which stays; empty for a path without one.
std::string folderOf(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1);
}

/// The path without links and detours; empty when nothing is there.
std::string canonical(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> found(::realpath(path.c_str(), nullptr),
                                                            &std::free);
    return found ? std::string(found.get()) : std::string();
}

/// The shared library that this code lies in; empty when it is part of the program (whose entry in
/// the list of loaded objects has no name).
std::string libraryFile() {
    Dl_info info;
    void* entry = nullptr;
    if (::dladdr1(moduleFile, &info, &entry, RTLD_DL_LINKMAP) == 0 || entry == nullptr) return {};
    return canonical(static_cast<const link_map*>(entry)->l_name);
}

/// Decides whom the module's place may belong to.
class Trust {
  public:
    /// `code`: the file that wants the module.
    explicit Trust(const std::string& code) : user(::geteuid()), owner(user) {
        struct stat status;
        if (::stat(code.c_str(), &status) == 0) owner = status.st_uid;
    }

    /// The file or folder of a canonical path that others could change; empty when there is none.
    std::string weakness(std::string path) const {
        // In a sticky folder, such as that for temporary files, only its owner replaces a file.
        for (bool inside = false;; inside = true) {
            struct stat status;
            if (::lstat(path.c_str(), &status) != 0) return path;
            const bool isSticky = inside && (status.st_mode & S_ISVTX) != 0;
            if (!isTrusted(status.st_uid) || (isOpen(status) && !isSticky)) return path;
            if (path == "/") return {};
            const auto slash = path.rfind('/');
            path.resize(slash == 0 ? 1 : slash);
        }
    }

  private:
    bool isTrusted(uid_t who) const { return who == 0 || who == user || who == owner; }

    /// Others may write. Not counted is a group of the user's own, which by custom has his number:
    /// with it, whatever he makes may be written by the group.
    bool isOpen(const struct stat& status) const {
        if ((status.st_mode & S_IWOTH) != 0) return true;
        return (status.st_mode & S_IWGRP) != 0 && status.st_gid != 0 &&
               status.st_gid != status.st_uid;
    }

    uid_t user;
    uid_t owner;
};

const SondexVideoModule* open(const std::string& path, std::string& reason) {
    // Lazily, because FFmpeg brings a hundred libraries of which a movie needs a few; never
    // closed, because loading them is most of the cost of a small movie.
    void* handle = ::dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
    const void* symbol = handle != nullptr ? ::dlsym(handle, sondexVideoModuleSymbol) : nullptr;
    if (symbol == nullptr) {
        reason = ::dlerror();
        return nullptr;
    }
    const auto* module = static_cast<const SondexVideoModule*>(symbol);
    if (module->interfaceNumber == sondexVideoInterface) return module;
    reason = path + " belongs to another version of Sondex";
    return nullptr;
}

/// The first module that can be loaded from where this build installs it, from where an
/// installation that was moved has it, as seen from the library and the program, and from beside
/// them (a build folder).
const SondexVideoModule* find(std::string& reason) {
    const std::string library = libraryFile();
    const std::string program = canonical("/proc/self/exe");
    const Trust trust(library.empty() ? program : library);
    std::vector<std::string> folders{SONDEX_MODULE_FOLDER "/"};
    // A program that has more rights than its caller looks at no place that he may choose.
    if (::getauxval(AT_SECURE) == 0) {
        if (!library.empty()) {
            folders.push_back(folderOf(library) + SONDEX_MODULE_FROM_LIBRARY "/");
            folders.push_back(folderOf(library));
        }
        folders.push_back(folderOf(program) + SONDEX_MODULE_FROM_PROGRAM "/");
        folders.push_back(folderOf(program));
    }
    for (const std::string& folder : folders) {
        const std::string path = canonical(folder + moduleFile);
        if (path.empty()) continue;
        const std::string weakness = trust.weakness(path);
        if (!weakness.empty()) {
            reason = path + " is not loaded, because others may change " + weakness;
        } else if (const auto* module = open(path, reason)) {
            return module;
        }
    }
    if (reason.empty()) {
        reason = std::string(moduleFile) + " does not stand in";
        for (const std::string& folder : folders)
            reason += (&folder == &folders.front() ? " " : ", in ") + folder;
    }
    return nullptr;
}

}  // namespace

const SondexVideoModule* videoModule() {
    static std::mutex mutex;
    static const SondexVideoModule* module = nullptr;
    static std::string lastReason;
    const std::lock_guard<std::mutex> lock(mutex);
    if (module != nullptr) return module;
    std::string reason;
    module = find(reason);
    if (!reason.empty() && reason != lastReason) {
        WEKU::Console::warn("%s%s", module == nullptr ? "no movie can be decoded: " : "",
                            reason.c_str());
        lastReason = reason;
    }
    return module;
}
