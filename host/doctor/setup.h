// Whether the parts are there: the plug-in, its worker.
#pragma once

#include <filesystem>
#include <vector>

#include "host/doctor/finding.h"

namespace host::doctor {

// Whether it loads and has the nine functions.
Finding CheckPlugin(const std::filesystem::path& plugin);

// Whether it runs and is FFmpeg, under which licence it was built, and how long it takes to start. The last
// two have findings of their own and are told only of one that runs.
std::vector<Finding> CheckWorker(const std::filesystem::path& worker);

}  // namespace host::doctor
