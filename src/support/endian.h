// Numbers in byte order, without casts over memory.
#pragma once

#include <cstddef>
#include <cstdint>

inline std::uint16_t GetLittle16(const std::byte* bytes) noexcept {
    return static_cast<std::uint16_t>(std::to_integer<unsigned>(bytes[0]) |
                                      (std::to_integer<unsigned>(bytes[1]) << 8));
}

inline std::uint32_t GetLittle32(const std::byte* bytes) noexcept {
    return GetLittle16(bytes) | (static_cast<std::uint32_t>(GetLittle16(bytes + 2)) << 16);
}

inline std::uint64_t GetLittle64(const std::byte* bytes) noexcept {
    return GetLittle32(bytes) | (static_cast<std::uint64_t>(GetLittle32(bytes + 4)) << 32);
}

inline std::uint16_t GetBig16(const std::byte* bytes) noexcept {
    return static_cast<std::uint16_t>((std::to_integer<unsigned>(bytes[0]) << 8) |
                                      std::to_integer<unsigned>(bytes[1]));
}

inline std::uint32_t GetBig24(const std::byte* bytes) noexcept {
    return (std::to_integer<std::uint32_t>(bytes[0]) << 16) |
           (std::to_integer<std::uint32_t>(bytes[1]) << 8) | std::to_integer<std::uint32_t>(bytes[2]);
}

inline std::uint32_t GetBig32(const std::byte* bytes) noexcept {
    return (GetBig24(bytes) << 8) | std::to_integer<std::uint32_t>(bytes[3]);
}

inline std::uint64_t GetBig64(const std::byte* bytes) noexcept {
    return (static_cast<std::uint64_t>(GetBig32(bytes)) << 32) | GetBig32(bytes + 4);
}

inline void PutLittle16(std::byte* bytes, std::uint16_t value) noexcept {
    bytes[0] = static_cast<std::byte>(value & 0xFF);
    bytes[1] = static_cast<std::byte>(value >> 8);
}

inline void PutLittle32(std::byte* bytes, std::uint32_t value) noexcept {
    PutLittle16(bytes, static_cast<std::uint16_t>(value & 0xFFFF));
    PutLittle16(bytes + 2, static_cast<std::uint16_t>(value >> 16));
}

inline void PutBig32(std::byte* bytes, std::uint32_t value) noexcept {
    for (int i = 3; i >= 0; --i, value >>= 8) bytes[i] = static_cast<std::byte>(value & 0xFF);
}
