// Fresh unique numbers.
#pragma once

#include <array>
#include <cstdint>

namespace platform {

// A random (version 4) GUID in its storage order. False on failure.
bool FreshGuid(std::array<std::uint8_t, 16>& guid) noexcept;

}  // namespace platform
