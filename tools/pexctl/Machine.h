// The machine a command runs on: COM entered (multithreaded apartment), the
// simulated machine of --simulate installed, and afterwards a simulated
// profile written back with its new state unless --no-save.
#pragma once

#include <functional>

#include "Commands.h"

namespace pexctl {

// Runs `command` on the machine; its exit code, or the one of what failed around it.
int RunOnMachine(const GlobalOptions& options, Output& out, const std::function<int()>& command);

}  // namespace pexctl
