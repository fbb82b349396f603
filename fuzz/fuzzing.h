// What the fuzz targets share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

// An invariant of the code under test. Holds in every build type, unlike assert.
inline void Require(bool holds) {
    if (!holds) std::abort();
}

inline std::span<const std::byte> Bytes(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const std::byte*>(data), size};
}
