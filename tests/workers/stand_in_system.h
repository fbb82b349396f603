// What the stand-in does with its system directly.
#pragma once

#include <map>
#include <string>

// A closed pipe neither ends this process nor makes it notice.
void IgnoreClosedPipes();

// Ends this process as a signal does: on Windows with the code of an access violation.
[[noreturn]] void EndBySignal();

// Standard output takes bytes as they are.
void UseBinaryOutput();

// Signal state, open descriptors and the like, by name.
std::map<std::string, std::string> SystemCircumstances();
