// What starting a program takes.
#pragma once

#include <windows.h>

#include <filesystem>
#include <string>
#include <vector>

namespace host::system {

// A handle that a child may have.
HANDLE OpenNull(DWORD access);

// The arguments are UTF-8, without quotation marks and backslashes at their ends.
std::wstring CommandLine(const std::filesystem::path& program, const std::vector<std::string>& arguments);

}  // namespace host::system
