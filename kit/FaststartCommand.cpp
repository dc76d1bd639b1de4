#include <memory>

#include "kit/Command.h"
#include "kit/EachFile.h"

namespace kit {

Command faststartCommand(CLI::App& program) {
    struct Wishes {
        std::vector<std::string> paths;
        bool json = false;
    };
    const auto wishes = std::make_shared<Wishes>();
    CLI::App* words = program.add_subcommand(
        "faststart", "Move the movie box to the front, for players that read over a network.");
    words->add_option("file", wishes->paths, "Movies")->required()->type_name("FILE");
    words->add_flag("--json", wishes->json, "Print a JSON object a line");
    return {words, [wishes] {
                return editEach(wishes->paths, wishes->json,
                                [](const std::string& path) { return sondex::startFast(path); });
            }};
}

}  // namespace kit
