// Keeps what is special about the calling thread's scheduling from its children.
#pragma once

#include <functional>

namespace platform::posix {

// True when the calling thread is in a real-time class, which a child would inherit.
bool IsRealTime() noexcept;

// Calls `start`, which starts a child, on the processors of the process's main thread. A calling thread that
// is bound to others stays as it is: a thread of ours does it then, and the call waits for it.
int OnTheProcessorsOfTheHost(const std::function<int()>& start);

}  // namespace platform::posix
