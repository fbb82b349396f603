// Time that only moves forward.
#pragma once

#include <cstdint>

#include "platform/event.h"

namespace platform {

std::uint64_t TickMilliseconds() noexcept;

// A negative limit sleeps for ever.
void Sleep(Milliseconds limit) noexcept;

}  // namespace platform
