#include "platform/clock.h"

#include "platform/windows/handles.h"

namespace platform {

std::uint64_t TickMilliseconds() noexcept {
    return GetTickCount64();
}

void Sleep(Milliseconds limit) noexcept {
    ::Sleep(windows::WaitLimit(limit));
}

}  // namespace platform
