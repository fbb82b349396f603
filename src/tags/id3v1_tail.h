// The end of a file, where an ID3v1 tag stands when there is one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "support/clfile.h"

inline constexpr std::size_t kId3v1Bytes = 128;
// What stands in front of "TAG" when it is a part of the magic of a short APE tag.
inline constexpr std::size_t kApeMagicHead = 3;
inline constexpr std::size_t kTailBytes = kApeMagicHead + kId3v1Bytes;

enum class TailState {
    TooShort,  // for kTailBytes
    Unreadable,
    NoTag,
    Tag,
};

struct Id3v1Tail {
    TailState state = TailState::Unreadable;
    std::int64_t fileSize = 0;  // with Unreadable perhaps not known
    std::array<std::byte, kTailBytes> bytes{};

    // With TailState::Tag.
    std::span<const std::byte, kId3v1Bytes> Tag() const noexcept {
        return std::span<const std::byte, kTailBytes>(bytes).subspan<kApeMagicHead>();
    }
};

Id3v1Tail ReadId3v1Tail(clFile& file) noexcept;
