// Sound files of which every sample is known.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace host::contract {

constexpr std::uint32_t kSampleRate = 8000;  // at which every sample frame begins at a whole microsecond
constexpr std::uint16_t kChannels = 2;
constexpr std::size_t kFrameBytes = std::size_t{2} * kChannels;
constexpr std::size_t kBlockFrames = 4096;  // of one DecodeBlock

// The sample of 16 bits.
std::int16_t SampleAt(std::size_t frame, std::size_t channel);

// The samples from a sample frame on, interleaved.
std::vector<std::int16_t> SamplesFrom(std::size_t frame, std::size_t count);

// A way to write uncompressed sound.
struct SoundForm {
    std::string_view extension;
    std::vector<std::byte> (*file)(std::size_t frames);
};

// Most readers of sound know one of them.
std::span<const SoundForm> SoundForms();

}  // namespace host::contract
