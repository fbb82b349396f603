// Another program, run for what it says.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace host::system {

// What it writes to standard output, with its standard input empty and its errors dropped; empty when it
// can't be started. Waits for its end.
std::string OutputOf(const std::filesystem::path& program, const std::vector<std::string>& arguments);

}  // namespace host::system
