// The table of commands and options in the forms of other programs.
#pragma once

#include <string>

#include "host/command_line/table.h"

namespace descriptions {

// What a manual page says of the whole.
struct Edition {
    std::string version;  // of the program
    std::string date;     // YYYY-MM-DD
};

// In the language of man(7): of a command, or without one of the program.
std::string ManualPage(const host::CommandLine& line, const host::Command* command, const Edition& edition);
// "decoder-host-decode", by which manual pages are found.
std::string ManualName(const host::CommandLine& line, const host::Command* command);

// Scripts that complete the program's command line.
std::string BashCompletion(const host::CommandLine& line);
std::string ZshCompletion(const host::CommandLine& line);
std::string FishCompletion(const host::CommandLine& line);

}  // namespace descriptions
