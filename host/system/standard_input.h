// This process's standard input as a file that another program opens.
#pragma once

#include <filesystem>
#include <optional>

namespace host::system {

struct InputName {
    std::filesystem::path path;
    bool isFile = false;  // can be opened again and read from its start; anything else is there once
};

// Valid as long as this process lives. Nothing where a program can't open it, as a Windows console, or none
// is there at all.
std::optional<InputName> NameOfStandardInput();

}  // namespace host::system
