#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "kit/Command.h"
#include "kit/EachFile.h"
#include "kit/FramesInSandbox.h"
#include "kit/scan/Record.h"

namespace kit {
namespace {

struct Wishes {
    std::vector<std::string> paths;
    sondex::FrameChoice choice;
    sondex::FrameOptions options;
    std::string output;
    bool thumbnail = false;
    bool force = false;
    bool json = false;
};

/// The names of pictures: a text around a number of at least so many digits, or without one.
struct Naming {
    std::string before, behind;
    int digits = 0;

    [[nodiscard]] std::string of(std::uint64_t number) const {
        if (digits == 0) return before;
        const std::string value = std::to_string(number);
        const auto wanted = static_cast<std::size_t>(digits);
        return before + std::string(wanted - std::min(wanted, value.size()), '0') + value + behind;
    }
};

/// A pattern with one %0Nd, or without any; nothing for any other use of the percent sign.
std::optional<Naming> namingOf(const std::string& pattern) {
    const std::size_t at = pattern.find('%');
    if (at == pattern.npos) return Naming{pattern, "", 0};
    const std::string rest = pattern.substr(at);
    const bool fits = rest.size() >= 4 && rest[1] == '0' && rest[2] >= '1' && rest[2] <= '9' &&
                      rest[3] == 'd' && rest.find('%', 1) == rest.npos;
    if (!fits) return std::nullopt;
    return Naming{pattern.substr(0, at), rest.substr(4), rest[2] - '0'};
}

/// Beside the movie, under its name without what says that it is one.
Naming besideMovie(const std::string& path, bool thumbnail) {
    const std::size_t slash = path.rfind('/');
    const std::size_t name = slash == path.npos ? 0 : slash + 1;
    const std::size_t dot = path.rfind('.');
    const bool hasEnding = dot != path.npos && dot > name;
    const std::string stem = hasEnding ? path.substr(0, dot) : path;
    return {stem + (thumbnail ? "-thumbnail-" : "-"), ".jpg", 5};
}

std::optional<sondex::FrameFormat> formatOf(const std::string& name) {
    std::string low = name;
    std::transform(low.begin(), low.end(), low.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    const auto endsWith = [&](std::string_view ending) { return low.ends_with(ending); };
    if (endsWith(".jpg") || endsWith(".jpeg")) return sondex::FrameFormat::jpeg;
    if (endsWith(".png")) return sondex::FrameFormat::png;
    return std::nullopt;
}

sondex::Status write(const std::string& name, std::string_view bytes, bool replace) {
    auto made = sondex::NewFile::make(name, replace);
    if (!made) return made.error();
    if (auto status = made->append(bytes); !status) return status;
    return made->finish();
}

std::string lineOf(const std::string& name, const sondex::Frame& frame, bool json) {
    std::array<char, 160> facts{};
    const char* pattern = json ? ",\"picture\":%llu,\"time\":%.6f,\"width\":%u,\"height\":%u}\n"
                               : ": picture %llu at %.3f s, %u x %u pixels\n";
    std::snprintf(facts.data(), facts.size(), pattern,
                  static_cast<unsigned long long>(frame.number), frame.time, frame.size.width,
                  frame.size.height);
    return (json ? "{\"path\":" + sondex::jsonText(name) : printable(name)) + facts.data();
}

int failed(const std::string& path, const sondex::Error& error) {
    report(path, error);
    return error.code == sondex::ErrorCode::refused ? refused : someFailed;
}

int capture(const Wishes& wishes, const std::string& path, const Naming& naming) {
    int status = allWell;
    const auto save = [&](sondex::Frame&& frame) {
        const std::string name = naming.of(frame.number);
        const sondex::Status saved = write(name, frame.bytes, wishes.force);
        if (!saved) {
            status = failed(name, saved.error());
        } else if (!print(lineOf(name, frame, wishes.json))) {
            status = stopped;
        }
        return status == allWell;
    };
    const sondex::Status read = readFramesInSandbox(path, wishes.choice, wishes.options, save);
    return read ? status : failed(path, read.error());
}

int wrong(const std::string& message) {
    complain(message);
    return wrongUse;
}

int run(Wishes& wishes) {
    const bool several = wishes.choice.every.has_value();
    const auto own = namingOf(wishes.output);
    if (!own) return wrong("--output: one %0Nd, as in NAME-%05d.jpg, and no other percent sign");
    if (!wishes.output.empty()) {
        const auto format = formatOf(wishes.output);
        if (!format) return wrong("--output: the name ends in .jpg, .jpeg or .png");
        if (own->digits == 0 && several) return wrong("--output: --every needs a %05d in the name");
        if (wishes.paths.size() > 1) return wrong("--output goes with one movie");
        wishes.options.format = *format;
    }
    if (wishes.thumbnail) {
        wishes.options.width = 320;
        wishes.options.describe = false;
    }
    if (several) wishes.options.threads = std::max(1U, std::thread::hardware_concurrency());
    int status = allWell;
    for (const std::string& path : wishes.paths) {
        const Naming naming = wishes.output.empty() ? besideMovie(path, wishes.thumbnail) : *own;
        const int outcome = capture(wishes, path, naming);
        if (outcome == stopped) return stopped;
        if (outcome != allWell) status = outcome;
    }
    return status;
}

}  // namespace

Command frameCommand(CLI::App& program) {
    const auto wishes = std::make_shared<Wishes>();
    CLI::App* words = program.add_subcommand("frame", "Take pictures out of movies.");
    const CLI::Range seconds(0.0, 1e9);
    words->add_option("file", wishes->paths, "Movies")->required()->type_name("FILE");
    CLI::Option* at =
        words->add_option("--at", wishes->choice.at, "The picture that is shown at this second")
            ->check(seconds);
    CLI::Option* frame = words->add_option("--frame", wishes->choice.number,
                                           "The picture with this number; the first is 0");
    words
        ->add_option("--every", wishes->choice.every,
                     "The first, and one each so many seconds behind it")
        ->check(CLI::Range(0.001, 1e9))
        ->excludes(at)
        ->excludes(frame);
    at->excludes(frame);
    CLI::Option* width =
        words->add_option("--width", wishes->options.width, "Scaled to so many pixels across")
            ->check(CLI::Range(1, 65500));
    words->add_option("--quality", wishes->options.quality, "Of a JPEG, 1 to 100 (95)")
        ->check(CLI::Range(1, 100));
    words->add_option(
        "--output", wishes->output,
        "NAME-%05d.jpg or .png, with the picture's number; beside the movie otherwise");
    words->add_flag("--force", wishes->force, "Replace files that are there already");
    words
        ->add_flag("--thumbnail", wishes->thumbnail,
                   "320 pixels across, and nothing said of camera, time, place and view")
        ->excludes(width);
    words->add_flag("--json", wishes->json, "Print a JSON object a picture");
    return {words, [wishes] { return run(*wishes); }};
}

}  // namespace kit
