// Threads with a name and a priority.
#pragma once

#include <string>

#include "platform/event.h"

namespace platform {

// Owned by whoever started it; JoinThread frees it.
struct NativeThread;

// Runs body(argument) in a new thread of the given priority, a number of the system's own that
// CurrentThreadPriority gives. The body lets no exception out. Null on failure.
NativeThread* StartThread(void (*body)(void*), void* argument, int priority) noexcept;

// Waits for the thread's end without a limit and frees the handle.
void JoinThread(NativeThread* thread) noexcept;

int CurrentThreadPriority() noexcept;

// Raises the thread to the caller's priority when that is the higher one and the system lets it.
void RaiseToCallersPriority(NativeThread* thread) noexcept;

// Shows up in debuggers and process lists, cut to what the system takes. May throw.
void NameCurrentThread(const std::string& utf8);

}  // namespace platform
