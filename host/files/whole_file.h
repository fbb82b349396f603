// Small files that are read at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace host {

// Throws Failure when it can't be read or is larger than `most` bytes.
std::vector<std::byte> ReadWholeFile(const std::string& file, std::uintmax_t most);

}  // namespace host
