// What this program does when it was started to help itself: a rule in a process of its own, or an event set
// by another process.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace host::contract {

// The arguments of such a run.
std::vector<std::string> RuleArguments(std::string_view rule, const std::filesystem::path& library,
                                       const std::filesystem::path& folder, unsigned rounds);
// Waits that long before it sets the event.
std::vector<std::string> EventSetterArguments(const std::u16string& name, std::chrono::milliseconds delay);

// The exit code, when these are the arguments of such a run.
std::optional<int> RunAsHelper(const std::vector<std::string>& arguments);

}  // namespace host::contract
