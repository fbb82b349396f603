// The table as help on a screen.
#pragma once

#include <cstddef>
#include <string>

#include "host/command_line/table.h"

namespace host {

// Of a command, or without one of the program. Lines are at most `width` columns long where words allow it.
std::string HelpText(const CommandLine& line, const Command* command, std::size_t width);

// The program's and every command's.
std::string HelpForAll(const CommandLine& line, std::size_t width);

}  // namespace host
