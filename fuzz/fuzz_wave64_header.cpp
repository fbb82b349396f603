// What a worker writes before its audio, and format records of any length.
#include <cstring>
#include <vector>

#include "codecs/decoders/ffmpeg/stream_header.h"
#include "fuzzing.h"
#include "memory_stream.h"
#include "support/endian.h"
#include "transport/exceptions.h"

namespace {

constexpr std::size_t kChunkHeaderBytes = 24;
constexpr std::size_t kGuidBytes = 16;

// Blocks are counted and positions computed by dividing by these two.
void RequireDivisors(const clWaveFormat& wave) {
    Require(wave.BlockAlign() != 0);
    Require(wave.AverageBytesPerSecond() != 0);
    Require(wave.Record().size() == clWaveFormat::kRecordBytes + wave.ExtraSize());
}

// The stream stands right behind the header of the chunk "data": a byte more would be audio that is lost.
void RequireAtAudio(std::span<const std::byte> bytes, std::size_t position, std::uint64_t dataSize) {
    Require(position >= kChunkHeaderBytes);
    const std::byte* header = bytes.data() + position - kChunkHeaderBytes;
    Require(std::memcmp(header, "data", 4) == 0);
    Require(GetLittle64(header + kGuidBytes) == dataSize + kChunkHeaderBytes);
}

void ReadHeader(std::span<const std::byte> bytes, clWaveFormat& wave) {
    MemoryStream stream(bytes);
    DecoderWaveFormat handedOut{};
    std::uint64_t dataSize = 0;
    try {
        ReadStreamHeader(stream, {wave, handedOut, dataSize});
        RequireAtAudio(bytes, stream.position(), dataSize);
        Require(handedOut.blockAlign == wave.BlockAlign());
        Require(handedOut.averageBytesPerSecond == wave.AverageBytesPerSecond());
        Require(handedOut.extraSize == wave.ExtraSize());
    } catch (const Qel::invalid_input&) {
        // What isn't a header is refused in this one way.
    }
    RequireDivisors(wave);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::byte> bytes = Bytes(data, size);
    clWaveFormat wave;
    ReadHeader(bytes, wave);
    // A second start of a worker meets the record of the first, here one that no stream would give.
    std::vector<std::byte> record(bytes.begin(), bytes.end());
    wave.SetBytes(record);
    RequireDivisors(wave);
    ReadHeader(bytes, wave);
    return 0;
}
