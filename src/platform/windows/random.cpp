#include "platform/random.h"

#include <windows.h>

#include <objbase.h>

#include <cstring>

namespace platform {

bool FreshGuid(std::array<std::uint8_t, 16>& guid) noexcept {
    GUID fresh;
    static_assert(sizeof fresh == sizeof guid);
    if (FAILED(CoCreateGuid(&fresh))) return false;
    std::memcpy(guid.data(), &fresh, sizeof fresh);
    return true;
}

}  // namespace platform
