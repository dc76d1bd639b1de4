#include <algorithm>
#include <memory>

#include "kit/Command.h"
#include "kit/EachFile.h"
#include "kit/scan/Record.h"

namespace kit {
namespace {

struct Wishes {
    std::vector<std::string> paths;
    sondex::InitialView view;
    bool check = false;
    bool json = false;
};

using Rules = std::vector<sondex::SphericalRule>;

bool holds(const Rules& rules) {
    return std::ranges::all_of(rules, &sondex::SphericalRule::holds);
}

std::string textOf(const std::string& path, const Rules& rules) {
    std::string text = printable(path) + ": " +
                       (holds(rules) ? "viewers show it as 360-degree\n"
                                     : "viewers may not show it as 360-degree\n");
    for (const auto& rule : rules)
        text += std::string(rule.holds ? "  yes  " : "  NO   ") + rule.name + ": " +
                printable(rule.found) + "\n";
    return text;
}

std::string jsonOf(const std::string& path, const Rules& rules) {
    std::string text = "{\"path\":" + sondex::jsonText(path) +
                       ",\"spherical\":" + (holds(rules) ? "true" : "false") + ",\"rules\":[";
    for (const auto& rule : rules) {
        text += std::string(&rule == &rules.front() ? "" : ",") +
                "{\"rule\":" + sondex::jsonText(rule.name) +
                ",\"holds\":" + (rule.holds ? "true" : "false") +
                ",\"found\":" + sondex::jsonText(rule.found) + "}";
    }
    return text + "]}\n";
}

int check(const Wishes& wishes) {
    int status = allWell;
    for (const std::string& path : wishes.paths) {
        const auto rules = sondex::checkSpherical(path);
        if (!rules) {
            status = report(path, rules.error());
            continue;
        }
        if (!holds(*rules)) status = std::max<int>(status, someFailed);
        if (!print(wishes.json ? jsonOf(path, *rules) : textOf(path, *rules))) return stopped;
    }
    return status;
}

}  // namespace

Command tagCommand(CLI::App& program) {
    const auto wishes = std::make_shared<Wishes>();
    CLI::App* words =
        program.add_subcommand("tag", "Make movies be recognised as 360-degree, or tell why not.");
    words->add_option("file", wishes->paths, "Movies")->required()->type_name("FILE");
    words->add_option("--heading", wishes->view.heading, "Degrees where the view begins")
        ->check(CLI::Range(-360.0, 360.0));
    words->add_option("--pitch", wishes->view.pitch, "Degrees above the horizon")
        ->check(CLI::Range(-90.0, 90.0));
    words->add_option("--fov", wishes->view.fieldOfView, "Degrees across")
        ->check(CLI::Range(1.0, 180.0));
    words->add_flag("--check", wishes->check, "Change nothing; tell, rule by rule, what holds");
    words->add_flag("--json", wishes->json, "Print a JSON object a line");
    return {words, [wishes] {
                if (wishes->check) return check(*wishes);
                return editEach(wishes->paths, wishes->json, [&](const std::string& path) {
                    return sondex::makeSpherical(path, wishes->view);
                });
            }};
}

}  // namespace kit
