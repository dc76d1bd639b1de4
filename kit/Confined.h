#pragma once

#include <functional>

namespace kit {

/// Runs `work` in a process of its own, behind the sandbox, and returns its status. What was open
/// stays open there. `crashed` when a signal ended it. Throws where no process can be started.
int runConfined(const std::function<int()>& work);

constexpr int crashed = -1;

}  // namespace kit
