// A manual-reset signal: set from anywhere, tested, and waited on alone or with others.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace platform {

// A value, not an owner: whoever created, opened or duplicated one closes it.
enum class EventHandle : std::intptr_t { None = -1 };

// A time limit in milliseconds; every negative one waits for ever.
using Milliseconds = std::int64_t;
inline constexpr Milliseconds kForever = -1;

// A new unnamed signal, not set. None on failure.
EventHandle CreateSignal() noexcept;

// The named signal, created unset when there is none of that name; the name and what it leaves in the system
// belong to whoever made it. An empty name gives a signal that nobody else can reach. None on failure.
EventHandle OpenNamedSignal(const std::u16string& name) noexcept;

// A second handle to the same signal, not inheritable. None on failure.
EventHandle DuplicateSignal(EventHandle signal) noexcept;

void CloseSignal(EventHandle signal) noexcept;
void SetSignal(EventHandle signal) noexcept;
void ResetSignal(EventHandle signal) noexcept;
bool IsSignalled(EventHandle signal) noexcept;

inline constexpr int kWaitTimedOut = -1;
inline constexpr int kWaitFailed = -2;

// Waits until one of the signals is set. The lowest index that is set, kWaitTimedOut or kWaitFailed.
int WaitForAny(std::span<const EventHandle> signals, Milliseconds limit) noexcept;

}  // namespace platform
