// The end of a named pipe that is written to.
#pragma once

#include <windows.h>

#include <filesystem>

namespace host::system {

// "\\.\pipe\decoder-" and the rest of a name that is this process's own.
std::filesystem::path PipeName(const wchar_t* purpose);

// For one reader of this machine. Throws std::system_error.
HANDLE MakeOutboundPipe(const std::filesystem::path& name);

// Waits for the reader, which may have come before. False when the pipe can have none any more.
bool WaitForReader(HANDLE pipe);

}  // namespace host::system
