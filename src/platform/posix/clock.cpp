#include "platform/clock.h"

#include <ctime>

#include "platform/posix/descriptor.h"

namespace platform {

std::uint64_t TickMilliseconds() noexcept {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000U +
           static_cast<std::uint64_t>(now.tv_nsec) / 1000000U;
}

void Sleep(Milliseconds limit) noexcept {
    posix::PollWithin({}, limit);
}

}  // namespace platform
