// Bytes of files, read or written at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace host {

// Throws Failure when it can't be read or is larger than `most` bytes.
std::vector<std::byte> ReadWholeFile(const std::string& file, std::uintmax_t most);

// Its first bytes, at most this many; none when it can't be read.
std::vector<std::byte> ReadStartOfFile(const std::string& file, std::size_t size);

// In place of what was there. Throws Failure.
void WriteWholeFile(const std::string& file, std::span<const std::byte> bytes);

}  // namespace host
