#include <memory>

#include "kit/Command.h"
#include "kit/EachFile.h"

namespace kit {
namespace {

struct Wishes {
    std::vector<std::string> paths;
    sondex::Private what;
    bool all = false;
    bool json = false;
};

int run(Wishes wishes) {
    if (wishes.all) wishes.what = {true, true, true};
    if (!wishes.what.gps && !wishes.what.serial && !wishes.what.motion) {
        complain("strip what? --gps, --serial, --motion or --all");
        return wrongUse;
    }
    return editEach(wishes.paths, wishes.json,
                    [&](const std::string& path) { return sondex::strip(path, wishes.what); });
}

}  // namespace

Command stripCommand(CLI::App& program) {
    const auto wishes = std::make_shared<Wishes>();
    CLI::App* words = program.add_subcommand(
        "strip", "Overwrite private data, so that it is gone from the file.");
    words->add_option("file", wishes->paths, "Movies or stills")->required()->type_name("FILE");
    words->add_flag("--gps", wishes->what.gps, "Positions");
    words->add_flag("--serial", wishes->what.serial, "The camera's serial numbers");
    words->add_flag("--motion", wishes->what.motion, "Motion sensors and tilt");
    words->add_flag("--all", wishes->all, "All of these");
    words->add_flag("--json", wishes->json, "Print a JSON object a line");
    return {words, [wishes] { return run(*wishes); }};
}

}  // namespace kit
