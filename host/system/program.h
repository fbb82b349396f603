// Another program, run for what it says.
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace host::system {

// A program that takes longer is ended.
inline constexpr std::chrono::milliseconds kPatienceWithPrograms = std::chrono::seconds(10);
inline constexpr std::size_t kMostOutput = 1 << 20;

// What it writes to standard output, with its standard input empty and its errors dropped; empty when it
// can't be started. Waits for its end; an output beyond 1 MiB is cut.
std::string OutputOf(const std::filesystem::path& program, const std::vector<std::string>& arguments);

}  // namespace host::system
