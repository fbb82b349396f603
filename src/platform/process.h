// A child process with chosen standard channels.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/pipe.h"

namespace platform {

// A value, not an owner: ReleaseProcess gives it back. Until then the process ends when this one does,
// however that comes about, as far as the system can see to it.
enum class ProcessHandle : std::intptr_t { None = -1 };

enum class ChannelMode : std::uint32_t { None = 0, Inherit = 1, Pipe = 2 };

struct ChildChannel {
    ChannelMode mode = ChannelMode::None;
    PipeHandle end = PipeHandle::None;  // the child's end, with Pipe
};

struct ProcessStart {
    std::string exe;                       // full path, UTF-8
    std::vector<std::string> args;         // UTF-8, the program's own name first
    std::string rawCommandLine;            // replaces args where a start takes one line; refused elsewhere
    std::string workingDirectory;          // empty: the parent's
    std::array<ChildChannel, 3> channels;  // standard input, output, error
};

// Starts the program hidden, with this process's environment and nothing of ours inherited but the channels.
// What is special about the calling thread's scheduling isn't inherited either. A child without a standard
// input ends with this process, where the system can see to that. None on failure, with LastError:
// kErrorNoUnicodeTranslation, before anything was started, for a text that would reach the system as another
// program or as other arguments. Throws std::bad_alloc only.
ProcessHandle StartProcess(const ProcessStart& start);

// True when the process has ended within the limit.
bool WaitForProcess(ProcessHandle process, Milliseconds limit) noexcept;

// Set once the process has ended. Belongs to the handle and is gone with it. Not for a process that
// WaitForProcess already saw the end of.
EventHandle EndSignal(ProcessHandle process) noexcept;

// The exit code of a process that has ended; where signals end processes, the negative number of the one that
// did. False while it runs, and where nobody can tell.
bool ExitCode(ProcessHandle process, std::int32_t& code) noexcept;

// Ends the process at once, with exit code -1 where the killer may choose one.
void KillProcess(ProcessHandle process) noexcept;

// Gives the handle back, once the process has ended or was killed.
void ReleaseProcess(ProcessHandle process) noexcept;

}  // namespace platform
