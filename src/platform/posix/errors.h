// errno in the numbers of platform/error.h.
#pragma once

#include <cstdint>

namespace platform::posix {

std::uint32_t ErrorFromErrno(int code) noexcept;

// SetLastError with errno translated.
void KeepErrno() noexcept;

}  // namespace platform::posix
