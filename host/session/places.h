// Where the plug-in and its worker are looked for.
#pragma once

#include <filesystem>
#include <string>

namespace host {

// Of a name that the user gave, or without one beside this program: in the folder "decoders", else where an
// installation has it. Whether it is there or not.
std::filesystem::path PluginPath(const std::string& given);

// Where the plug-in at this path looks.
std::filesystem::path WorkerPath(const std::filesystem::path& plugin);

// That there is no worker, and what to do.
std::string MissingWorker(const std::filesystem::path& worker);

}  // namespace host
