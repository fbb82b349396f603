// File descriptors: kept away from the standard three, polled and closed in one way.
#pragma once

#include <poll.h>
#include <signal.h>

#include <cstdint>
#include <span>

#include "platform/event.h"

namespace platform::posix {

// The same file under a number of 3 or more, close-on-exec; the given descriptor is closed when it had to
// move. A host that closed its standard descriptors would else see our pipes as its standard output.
// -1, with errno, for -1 and on failure.
int AboveStandard(int descriptor) noexcept;

void Close(int descriptor) noexcept;

// poll with a limit in milliseconds that interruptions don't stretch. As poll: 0 on time-out, -1 on failure.
int PollWithin(std::span<pollfd> entries, Milliseconds limit) noexcept;

// Keeps SIGPIPE of one write from reaching the host, whatever it does with that signal.
class SigpipeGuard {
  public:
    SigpipeGuard() noexcept;
    ~SigpipeGuard();
    SigpipeGuard(const SigpipeGuard&) = delete;
    SigpipeGuard& operator=(const SigpipeGuard&) = delete;

  private:
    sigset_t before_;
    bool wasPending_ = false;
    bool blocked_ = false;
};

}  // namespace platform::posix
