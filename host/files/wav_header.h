// WAV headers: everything in front of the first sample byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "decoder_plugin.h"

namespace host {

// The header of a file that ends with its samples (and a zero byte when their count is odd). RIFF, or RF64
// when the sizes pass 32 bits. The length is the same for every `sampleBytes` of one format, so that a header
// written first can be replaced when the count is known.
std::vector<std::byte> WavFileHeader(const DecoderWaveFormat& format, std::uint64_t sampleBytes);

// The header of a stream whose length nobody knows yet: both sizes are the largest there are.
std::vector<std::byte> WavStreamHeader(const DecoderWaveFormat& format);

}  // namespace host
