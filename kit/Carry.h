#pragma once

#include <string>
#include <vector>

#include "kit/Command.h"
#include "sondex/sondex.h"

namespace kit {

/// Carries the sources' metadata onto the target, prints what became of it, and returns the status.
int carryAndTell(const std::vector<std::string>& sources, const std::string& target,
                 const sondex::CarryOptions& options, bool json);

/// The options that every command which carries has.
void addCarryOptions(CLI::App& words, sondex::CarryOptions& options);

}  // namespace kit
