// Files as the C library's streams.
#pragma once

#include <cstdio>
#include <filesystem>

namespace host::system {

// Each null with errno on failure. `OpenNew` refuses a name that is taken.
std::FILE* OpenForReading(const std::filesystem::path& path);
std::FILE* OpenForWriting(const std::filesystem::path& path);
std::FILE* OpenNew(const std::filesystem::path& path);

}  // namespace host::system
