// WAV headers: everything in front of the first sample byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "decoder_plugin.h"

namespace host {

// The header of a file that ends with its samples (and a zero byte when their count is odd). RIFF, or RF64
// when the sizes pass 32 bits. The length is the same for every `sampleBytes` of one format, so that a header
// written first can be replaced when the count is known.
// A file that isn't whole says so in a chunk that readers pass over, where it isn't RF64.
enum class Samples { Whole, Incomplete };
std::vector<std::byte> WavFileHeader(const DecoderWaveFormat& format, std::uint64_t sampleBytes,
                                     Samples samples = Samples::Whole);

// Whether the first bytes of a file of this size are such a header, of a file that is whole.
bool IsWholeWavFile(std::span<const std::byte> start, std::uint64_t fileSize);
// Whether they say of themselves that it isn't.
bool IsIncompleteWavFile(std::span<const std::byte> start);
constexpr std::size_t kWavStartSize = 60;  // how many bytes it looks at

// The header of a stream whose length nobody knows yet: both sizes are the largest there are.
std::vector<std::byte> WavStreamHeader(const DecoderWaveFormat& format);

}  // namespace host
