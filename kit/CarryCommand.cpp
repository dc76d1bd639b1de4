#include "kit/Carry.h"

#include <memory>

#include "kit/EachFile.h"
#include "kit/scan/Record.h"

namespace kit {
namespace {

using Fate = sondex::Carried::Fate;

struct Wishes {
    std::vector<std::string> movies, chapters;
    sondex::CarryOptions options;
    bool json = false;
};

/// The names of the items with this fate; with reasons where there are any.
std::string listOf(const sondex::Carried& carried, Fate fate) {
    std::string text;
    for (const auto& item : carried.items) {
        if (item.fate != fate) continue;
        text += (text.empty() ? "" : ", ") + item.name;
        if (!item.why.empty()) text += " (" + item.why + ")";
    }
    return text;
}

std::string jsonOf(const std::string& path, const sondex::Carried& carried) {
    static constexpr const char* fates[] = {"carried", "present", "notCarried"};
    std::string text = "{\"path\":" + sondex::jsonText(path) +
                       ",\"frames\":" + sondex::jsonText(carried.frames) +
                       ",\"changed\":" + (carried.changed ? "true" : "false") + ",\"items\":[";
    for (const auto& item : carried.items) {
        text += std::string(&item == &carried.items.front() ? "" : ",") +
                "{\"name\":" + sondex::jsonText(item.name) + ",\"fate\":\"" +
                fates[static_cast<int>(item.fate)] + "\"";
        if (!item.why.empty()) text += ",\"why\":" + sondex::jsonText(item.why);
        text += "}";
    }
    return text + "]}\n";
}

}  // namespace

int carryAndTell(const std::vector<std::string>& sources, const std::string& target,
                 const sondex::CarryOptions& options, bool json) {
    const auto carried = sondex::carry(sources, target, options);
    if (!carried) return report(target, carried.error());
    const std::string& result = options.output.empty() ? target : options.output;
    if (json) return print(jsonOf(result, *carried)) ? allWell : stopped;
    std::string text = printable(result) + ": " + carried->frames + "\n";
    const auto line = [&](const char* head, Fate fate) {
        const std::string list = listOf(*carried, fate);
        if (!list.empty()) text += std::string("  ") + head + list + "\n";
    };
    line(options.dryRun ? "would carry: " : "carried: ", Fate::carried);
    line("there already: ", Fate::present);
    line("not carried: ", Fate::notCarried);
    if (!carried->changed) text += "  nothing to do\n";
    return print(text) ? allWell : stopped;
}

void addCarryOptions(CLI::App& words, sondex::CarryOptions& options) {
    words
        .add_option_function<std::vector<std::string>>(
            "--drop",
            [&options](const std::vector<std::string>& names) {
                for (const std::string& name : names) {
                    options.drop.gps = options.drop.gps || name == "gps";
                    options.drop.serial = options.drop.serial || name == "serial";
                    options.drop.motion = options.drop.motion || name == "motion";
                }
            },
            "What is left behind: gps, serial, motion")
        ->delimiter(',')
        ->allow_extra_args(false)  // the files come behind it
        ->check(CLI::IsMember({"gps", "serial", "motion"}));
}

Command carryCommand(CLI::App& program) {
    const auto wishes = std::make_shared<Wishes>();
    sondex::CarryOptions& options = wishes->options;
    CLI::App* words = program.add_subcommand(
        "carry", "Put what the camera wrote in a movie onto a cut or re-encoded copy of it.");
    words->add_option("movies", wishes->movies, "SOURCE TARGET, or TARGET behind --join")
        ->required()
        ->expected(1, 2)
        ->type_name("FILE");
    words
        ->add_option("--join", wishes->chapters,
                     "The source's chapters, one behind the other, ended by --")
        ->type_name("FILE");
    words->add_option("--from", options.from, "Second of the source where TARGET begins");
    words->add_option("--to", options.to, "Second of the source where TARGET ends");
    words->add_flag("--replace", options.replace, "What TARGET has already gives way");
    words->add_flag("--dry-run", options.dryRun, "Tell, but write nothing");
    words->add_option("--output", options.output, "Write there and leave TARGET as it is")
        ->type_name("FILE");
    words->add_flag("--json", wishes->json, "Print a JSON object");
    addCarryOptions(*words, options);
    return {words, [wishes] {
                std::vector<std::string> sources = wishes->chapters;
                if (wishes->movies.size() != (sources.empty() ? 2 : 1)) {
                    complain("carry wants SOURCE TARGET, or --join A B ... -- TARGET");
                    return static_cast<int>(wrongUse);
                }
                if (sources.empty()) sources = {wishes->movies.front()};
                return carryAndTell(sources, wishes->movies.back(), wishes->options, wishes->json);
            }};
}

}  // namespace kit
