#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string_view>

namespace kit {

/// What the program's status says.
enum ExitStatus {
    allWell = 0,
    someFailed = 1,  ///< Some files could not be read; the others were.
    wrongUse = 2,
    refused = 3,  ///< Nothing was done: it would have harmed something.
    stopped = 4,  ///< The run ended early, and not every file was looked at.
};

/// A subcommand: its words, and what it does once they are read.
struct Command {
    CLI::App* words = nullptr;
    std::function<int()> run;
};

Command factsCommand(CLI::App& program);
Command boxesCommand(CLI::App& program);
Command motionCommand(CLI::App& program);
Command scanCommand(CLI::App& program);
Command carryCommand(CLI::App& program);
Command cutCommand(CLI::App& program);
Command tagCommand(CLI::App& program);
Command setCommand(CLI::App& program);
Command stripCommand(CLI::App& program);
Command faststartCommand(CLI::App& program);
Command frameCommand(CLI::App& program);

/// One line on standard error, behind the program's name.
void complain(std::string_view message);

/// Writes to standard output. False: it could not be, which was said.
bool print(std::string_view text);

}  // namespace kit
