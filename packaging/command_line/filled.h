// Scripts with places to fill in.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace descriptions {

// The script with each place "@NAME@" replaced by what is given for NAME.
std::string Filled(std::string_view script, const std::vector<std::pair<std::string, std::string>>& values);

}  // namespace descriptions
