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
// A negative descriptor is a failure, where poll would pass over it and wait for nothing.
int PollWithin(std::span<pollfd> entries, Milliseconds limit) noexcept;

// Keeps a signal that a write of this thread raises from reaching the host, whatever it does with that
// signal.
class SignalGuard {
  public:
    explicit SignalGuard(int signal, bool armed = true) noexcept;
    ~SignalGuard();
    SignalGuard(const SignalGuard&) = delete;
    SignalGuard& operator=(const SignalGuard&) = delete;

  private:
    int signal_;
    sigset_t before_;
    bool wasPending_ = false;
    bool blocked_ = false;
};

// A reader that went is an error of the write, no end of the host.
class SigpipeGuard : public SignalGuard {
  public:
    SigpipeGuard() noexcept : SignalGuard(SIGPIPE) {}
};

// So is a file that the user's limit on sizes keeps from growing.
class SizeLimitGuard : public SignalGuard {
  public:
    SizeLimitGuard() noexcept;
};

}  // namespace platform::posix
