// The arguments of the process, parsed by the table.
#pragma once

#include <string>
#include <vector>

#include "host/command_line/table.h"

namespace host {

// Runs what was asked for, with the targets filled in, and gives the program's exit code. Help is printed.
// Throws UsageFailure, and what the command throws.
int ParseAndRun(const CommandLine& line, std::vector<std::string> arguments);

}  // namespace host
