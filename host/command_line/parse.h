// The arguments of the process, parsed by the table.
#pragma once

#include <string>
#include <vector>

#include "host/command_line/table.h"

namespace host {

// The command that was asked for, with its targets filled in. Null when help was asked for, which is printed.
// Throws UsageFailure.
const Command* Parse(const CommandLine& line, std::vector<std::string> arguments);

}  // namespace host
