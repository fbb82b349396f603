// errno in the numbers of platform/error.h.
#pragma once

#include <cstdint>

namespace platform::posix {

std::uint32_t ErrorFromErrno(int code) noexcept;

// SetLastError with a number of errno's translated, which LastSystemError then gives as it is.
void Keep(int code) noexcept;
void KeepErrno() noexcept;

}  // namespace platform::posix
