// What the program says, on its two standard streams.
#pragma once

#include <string_view>

namespace host {

// To standard output. Throws Failure when it doesn't take everything.
void Print(std::string_view text);
void FlushOutput();

// A line to standard error: the program's name, then the text with its line ends taken out.
void PrintError(std::string_view text);

// To standard error, at once and as it is: what is drawn over or asked there.
void PrintToTerminal(std::string_view text);

}  // namespace host
