#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <memory>

#include "kit/Carry.h"

extern char** environ;

namespace kit {
namespace {

struct Wishes {
    std::string input, output, from, to;
    sondex::CarryOptions options;
    bool json = false;
};

/// Runs a program that is looked up in PATH, without a shell; its status, or -1.
int runProgram(const std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (const std::string& word : words)
        pointers.push_back(const_cast<char*>(word.c_str()));
    pointers.push_back(nullptr);
    pid_t child = 0;
    if (::posix_spawnp(&child, pointers[0], nullptr, nullptr, pointers.data(), environ) != 0) {
        return -1;
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int run(const Wishes& wishes) {
    struct stat standing {};
    if (::lstat(wishes.output.c_str(), &standing) == 0) {
        complain(wishes.output + ": it is there already");
        return refused;
    }
    std::vector<std::string> words = {"ffmpeg", "-nostdin", "-v", "error", "-n"};
    // Ahead of the input: the cut begins at the key frame before, and an edit list hides the rest.
    if (!wishes.from.empty()) words.insert(words.end(), {"-ss", wishes.from});
    if (!wishes.to.empty()) words.insert(words.end(), {"-to", wishes.to});
    // A name is never taken for an option or a protocol.
    words.insert(words.end(), {"-i", "file:" + wishes.input, "-map", "0:v", "-map", "0:a?", "-c",
                               "copy", "-map_metadata", "0", "-f", "mp4", "file:" + wishes.output});
    const int status = runProgram(words);
    if (status != 0) {
        complain(status == -1 || status == 127 ? "ffmpeg could not be run; is it installed?"
                                               : "ffmpeg could not cut " + wishes.input);
        ::unlink(wishes.output.c_str());
        return refused;
    }
    // What ffmpeg wrote of the movie's metadata is the same, in fewer words.
    sondex::CarryOptions options = wishes.options;
    options.replace = true;
    return carryAndTell({wishes.input}, wishes.output, options, wishes.json);
}

}  // namespace

Command cutCommand(CLI::App& program) {
    const auto wishes = std::make_shared<Wishes>();
    CLI::App* words = program.add_subcommand(
        "cut", "Cut a movie with ffmpeg, without encoding it anew, and keep its metadata.");
    words->add_option("input", wishes->input, "The movie")->required()->type_name("IN");
    words->add_option("output", wishes->output, "The cut, which must not be there yet")
        ->required()
        ->type_name("OUT");
    words->add_option("--from", wishes->from, "Where it begins: seconds or HH:MM:SS");
    words->add_option("--to", wishes->to, "Where it ends");
    words->add_flag("--json", wishes->json, "Print a JSON object");
    addCarryOptions(*words, wishes->options);
    return {words, [wishes] { return run(*wishes); }};
}

}  // namespace kit
