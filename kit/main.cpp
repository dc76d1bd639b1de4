#include <cstdio>
#include <exception>
#include <string>

#include "kit/Command.h"
#include "sondex/Process.h"

namespace kit {

namespace {

int run(int count, char** words) {
    CLI::App program("Facts of the movies and stills of a dual-lens 360-degree camera.",
                     "sondexkit");
    program.set_version_flag("--version", "sondexkit " SONDEX_VERSION);
    program.require_subcommand(1);
    program.footer(
        "Status: 0 all well, 1 some files failed, 2 wrong use, 3 refused, 4 ended early.");
    const Command commands[] = {
        factsCommand(program),     boxesCommand(program), motionCommand(program),
        scanCommand(program),      carryCommand(program), cutCommand(program),
        tagCommand(program),       setCommand(program),   stripCommand(program),
        faststartCommand(program), frameCommand(program),
    };
    try {
        program.parse(count, words);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {  // --help, --version
            return program.exit(error) == 0 && std::fflush(stdout) == 0 ? allWell : stopped;
        }
        complain(error.what());
        complain("'sondexkit --help' tells more");
        return wrongUse;
    }
    for (const Command& command : commands) {
        if (command.words->parsed()) return command.run();
    }
    return wrongUse;
}

}  // namespace
}  // namespace kit

int main(int count, char** words) {
    sondex::prepareProcess();
    try {
        return kit::run(count, words);
    } catch (const std::exception& failure) {
        kit::complain(failure.what());
        return kit::stopped;
    }
}
