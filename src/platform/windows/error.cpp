#include "platform/error.h"

#include <windows.h>

namespace platform {

std::uint32_t LastError() noexcept {
    return ::GetLastError();
}

void SetLastError(std::uint32_t code) noexcept {
    ::SetLastError(code);
}

std::uint32_t LastSystemError() noexcept {
    return ::GetLastError();
}

}  // namespace platform
