// What the program says, on its two standard streams.
#pragma once

#include <string>
#include <string_view>

namespace host {

// To standard output. Throws Failure when it doesn't take everything.
void Print(std::string_view text);
void FlushOutput();

// A line to standard error: the program's name, then the text with its line ends taken out. Errors stand out
// where there are colours.
void PrintError(std::string_view text);
void PrintNote(std::string_view text);

// For names in front of what they name: bold where standard output has colours.
std::string Emphasized(const std::string& text);

// To standard error, at once and as it is: what is drawn over or asked there.
void PrintToTerminal(std::string_view text);

}  // namespace host
