#include "tests/kit/Program.h"

#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <regex>

#include "support/WideText.h"
#include "tests/kit/Files.h"

namespace kit {

Outcome run(const std::vector<std::string>& words, const std::string& input) {
    std::vector<char*> pointers;
    for (const std::string& word : words)
        pointers.push_back(const_cast<char*>(word.c_str()));
    pointers.push_back(nullptr);
    const int streams[] = {memoryFile(input), memoryFile(), memoryFile()};
    const pid_t child = ::fork();
    if (child == 0) {
        for (const int i : {0, 1, 2})
            ::dup2(streams[i], i);
        ::execvp(pointers[0], pointers.data());
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    const Outcome outcome = {contentsOf(streams[1]), contentsOf(streams[2]),
                             WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)};
    for (const int stream : streams)
        ::close(stream);
    return outcome;
}

std::string sondexProgram() {
    return SONDEX_PROGRAM;
}

Outcome runSondex(std::vector<std::string> words, const std::string& input) {
    words.insert(words.begin(), sondexProgram());
    return run(words, input);
}

std::string resultLine(const std::string& out) {
    const std::string lines = "\n" + out;
    const std::size_t at = lines.find("\nresult: ");
    if (at == std::string::npos || lines.rfind("\nresult: ") != at) return "";
    return lines.substr(at + 1, lines.find('\n', at + 1) - at - 1);
}

std::string member(const std::string& result, const std::string& key) {
    std::smatch found;
    std::regex_search(result, found, std::regex("\"" + key + "\":([^,}]*)"));
    return found[1];
}

bool haveFfmpeg() {
    static const bool have = run({"ffmpeg", "-version"}).status == 0;
    return have;
}

const std::string& clip(const std::string& name, const std::vector<std::string>& arguments) {
    static std::map<std::string, std::string> made;
    const auto [entry, isNew] = made.try_emplace(name);
    if (!isNew) return entry->second;
    const TempFolder folder;
    const std::string path = (folder.path() / name).string();
    std::vector<std::string> words = {
        "ffmpeg", "-v",    "error", "-y",
        "-f",     "lavfi", "-i",    "testsrc2=size=320x160:rate=30:duration=2",
        "-f",     "lavfi", "-i",    "sine=frequency=440:duration=2"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    words.push_back(path);
    run(words);
    return entry->second = readFile(std::filesystem::path(path));
}

std::string frames(const std::wstring& path) {
    const Outcome decoded = run({"ffmpeg", "-v", "error", "-i", WEKU::wchar::narrow(path), "-map",
                                 "0", "-f", "framemd5", "-"});
    return decoded.out + decoded.err;
}

const std::string& plainClip() {
    return clip("plain.mp4", {"-c:v", "libx264", "-profile:v", "baseline", "-pix_fmt", "yuv420p",
                              "-c:a", "aac"});
}

const std::string& cameraMovie() {
    static std::string made;
    if (!made.empty()) return made;
    const TempFolder folder;
    folder.write("clip.mp4", plainClip());
    const std::string target = (folder.path() / "camera.mp4").string();
    run({SONDEX_SAMPLE_MAKER, "movie", (folder.path() / "clip.mp4").string(), target});
    return made = readFile(std::filesystem::path(target));
}

}  // namespace kit
