#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <string>

#include "probe/MovieView.h"
#include "probe/VideoModule.h"
#include "probe/VideoReader.h"
#include "support/Console.h"
#include "support/WideText.h"

namespace {

constexpr char moduleFile[] = "sondex-video.so";

// Paths are handled as plain texts: std::filesystem would bring the whole of the locale library
// into the program, and every start would pay for it.

/// Up to the last slash, which stays; empty for a path without one.
std::string folderOf(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1);
}

/// The folder of the shared library that this code lies in; empty when it is part of the program
/// (whose entry in the list of loaded objects has no name).
std::string libraryFolder() {
    Dl_info info;
    void* entry = nullptr;
    if (::dladdr1(moduleFile, &info, &entry, RTLD_DL_LINKMAP) == 0 || entry == nullptr) return {};
    return folderOf(static_cast<const link_map*>(entry)->l_name);
}

std::string programFolder() {
    std::array<char, PATH_MAX> path;
    const ssize_t n = ::readlink("/proc/self/exe", path.data(), path.size());
    return n > 0 ? folderOf(std::string(path.data(), static_cast<std::size_t>(n))) : std::string();
}

/// The first of the places of the module that holds one: beside the library or program (a build
/// folder), where an installation has it, seen from either, where this build was told to install.
std::string locateModule() {
    const std::string library = libraryFolder();
    const std::string program = programFolder();
    for (const std::string& folder :
         {library, library + SONDEX_MODULE_FROM_LIBRARY "/", program,
          program + SONDEX_MODULE_FROM_PROGRAM "/", std::string(SONDEX_MODULE_FOLDER "/")}) {
        const std::string path = folder + moduleFile;
        if (path.front() == '/' && ::access(path.c_str(), F_OK) == 0) return path;
    }
    return {};
}

const SondexVideoModule* openModule() {
    const std::string path = locateModule();
    if (path.empty()) {
        WEKU::Console::warn(
            "no movie can be decoded: %s stands neither beside the program nor in "
            "%s nor in %s",
            moduleFile, SONDEX_MODULE_FROM_PROGRAM, SONDEX_MODULE_FOLDER);
        return nullptr;
    }
    // Lazily, because FFmpeg brings a hundred libraries of which a movie needs a few; never
    // closed, because loading them is most of the cost of a small movie.
    void* handle = ::dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
    const void* symbol = handle != nullptr ? ::dlsym(handle, sondexVideoModuleSymbol) : nullptr;
    if (symbol == nullptr) {
        WEKU::Console::warn("no movie can be decoded: %s", ::dlerror());
        return nullptr;
    }
    const auto* module = static_cast<const SondexVideoModule*>(symbol);
    if (module->interfaceNumber != sondexVideoInterface) {
        WEKU::Console::warn("no movie can be decoded: %s belongs to another version of Sondex",
                            path.c_str());
        return nullptr;
    }
    return module;
}

std::uint64_t readView(const void* context, std::uint64_t offset, unsigned char* bytes,
                       std::uint64_t count) {
    return static_cast<const MovieView*>(context)->readAt(offset, bytes, count);
}

}  // namespace

bool VideoReader::describeSource(const MP4::Container& movie, const WEKU::FileIO& file,
                                 VideoFacts& facts) {
    static const SondexVideoModule* const module = openModule();
    using Trouble = VideoFacts::Trouble;
    facts.trouble = Trouble::noDecoder;
    if (module == nullptr) return false;

    const MovieView view(movie, file);
    const SondexVideoSource source{view.length(), readView, &view};
    SondexVideoFacts found{facts.width, facts.height, facts.nominalFrameRate, 0};
    const SondexVideoOutcome outcome = module->describe(&source, &found);
    facts = {found.width, found.height, found.nominalFrameRate};
    const std::string name = WEKU::wchar::narrow(file.name());
    if (outcome == sondexVideoUnreadable) {
        facts.trouble = Trouble::unreadable;
        WEKU::Console::warn("no MP4 or MOV movie - %s", name.c_str());
    } else if (outcome == sondexVideoNoTrack) {
        facts.trouble = Trouble::noTrack;
        WEKU::Console::warn("describeSource: No video tracks found - %s", name.c_str());
    } else if (found.tooLarge != 0) {
        facts.trouble = Trouble::tooLarge;
        WEKU::Console::warn("pictures above %lld pixels are not decoded - %s",
                            static_cast<long long>(sondexVideoMostPixels), name.c_str());
    } else if (found.width < 1) {
        facts.trouble = Trouble::undecodable;
    }
    return outcome == sondexVideoDescribed;
}
