// What the plug-in's error log says, for people.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

// The messages in a piece of an error log, without the function labels at their ends.
std::vector<std::string> LogMessages(std::u16string_view log);

}  // namespace host
