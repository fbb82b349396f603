#include "platform/random.h"

#include <sys/random.h>

#include <cerrno>

namespace platform {

bool FreshGuid(std::array<std::uint8_t, 16>& guid) noexcept {
    // Requests of up to 256 bytes are never cut short once the pool is ready.
    ssize_t count = 0;
    do {
        count = getrandom(guid.data(), guid.size(), 0);
    } while (count < 0 && errno == EINTR);
    if (count != static_cast<ssize_t>(guid.size())) return false;
    // RFC 9562: version 4 in the high half of byte 7 (the third field is little-endian), variant in byte 8.
    guid[7] = static_cast<std::uint8_t>((guid[7] & 0x0F) | 0x40);
    guid[8] = static_cast<std::uint8_t>((guid[8] & 0x3F) | 0x80);
    return true;
}

}  // namespace platform
