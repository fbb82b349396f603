// What became of tags on their way into a file.
#pragma once

#include <string>
#include <vector>

#include "host/tags/entry.h"

namespace host {

// A sentence for each of the given entries that reads back differently.
std::vector<std::string> Differences(const Entries& given, const Entries& read);

const Entry* FindText(const Entries& entries, const std::string& name);

}  // namespace host
