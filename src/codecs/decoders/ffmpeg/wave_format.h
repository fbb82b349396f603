// The audio format record, WAVEFORMATEX or WAVEFORMATEXTENSIBLE, normalised.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "support/clbuffer.h"

// Holds one record in its little-endian byte form. Its average bytes per second and block align are never 0,
// so they can be divided by. Memory that runs out raises std::bad_alloc.
class clWaveFormat {
  public:
    static constexpr std::size_t kRecordBytes = 18;  // without extra bytes
    static constexpr std::uint16_t kTagPcm = 1;
    static constexpr std::uint16_t kTagFloat = 3;
    static constexpr std::uint16_t kTagExtensible = 0xFFFE;
    static constexpr std::size_t kExtensibleExtra = 22;

    // The all-zero record, normalised.
    clWaveFormat();
    clWaveFormat(const clWaveFormat&) = delete;
    clWaveFormat& operator=(const clWaveFormat&) = delete;

    // Takes a complete record: kRecordBytes and the extra bytes it declares.
    void SetRecord(const std::byte* record);

    // Takes a record of any length, as a file or stream has it. An extra size that doesn't fit the length is
    // zeroed in the given bytes.
    void SetBytes(std::span<std::byte> bytes);

    // The format tag, seen through the extensible form; 0xFFFE for a sub-format that isn't known.
    std::uint16_t EffectiveTag() const noexcept;

    std::uint16_t FormatTag() const noexcept;
    std::uint16_t Channels() const noexcept;
    std::uint32_t SamplesPerSecond() const noexcept;
    std::uint32_t AverageBytesPerSecond() const noexcept;
    std::uint16_t BlockAlign() const noexcept;
    std::uint16_t BitsPerSample() const noexcept;
    std::uint16_t ExtraSize() const noexcept;

    // The record with its extra bytes; valid until the next Set.
    std::span<const std::byte> Record() const noexcept;

  private:
    void Normalise() noexcept;

    clBuffer storage;
    std::array<std::byte, kRecordBytes> inlineRecord{};
    std::byte* current = inlineRecord.data();  // into one of the two
};
