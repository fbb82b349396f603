// Samples in the formats that the plug-in gives, as numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "decoder_plugin.h"

namespace host {

constexpr std::uint16_t kPcmTag = 1;
constexpr std::uint16_t kFloatTag = 3;
constexpr std::uint16_t kExtensibleTag = 0xFFFE;

// The tag that says what the samples are; the extensible record keeps it in front of its identifier.
std::uint16_t SampleTag(const DecoderWaveFormat& wave);

class SampleReader {
  public:
    // Throws Failure for samples other than integers of 16, 24 or 32 bits and floats of 32 or 64.
    explicit SampleReader(const DecoderWaveFormat& wave);

    // The whole frames among the bytes, interleaved, with full scale at 1. What is no number is silence, and
    // what is beyond all measure is brought back to where sums of squares don't overflow. The numbers live
    // until the next call.
    std::span<const float> Read(std::span<const std::byte> bytes);

  private:
    using Conversion = float (*)(const std::byte*);

    Conversion conversion_ = nullptr;
    std::size_t sampleSize_;
    std::size_t frameSize_;
    std::vector<float> samples_;
};

}  // namespace host
