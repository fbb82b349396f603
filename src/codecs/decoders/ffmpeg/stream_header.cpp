#include "codecs/decoders/ffmpeg/stream_header.h"

#include <array>
#include <cstring>
#include <new>
#include <string_view>

#include "support/endian.h"
#include "transport/exceptions.h"

namespace {

constexpr std::size_t kGuidBytes = 16;
constexpr std::size_t kSizeBytes = 8;
constexpr std::uint64_t kChunkHeaderBytes = kGuidBytes + kSizeBytes;  // counted by a chunk's size
constexpr std::uint64_t kSmallestFormat = 40;
constexpr std::uint64_t kLargestFormat = 65560;
constexpr std::uint64_t kAlignment = 8;

using Guid = std::array<std::byte, kGuidBytes>;

Guid ReadGuid(Qel::streamIn& stream) {
    Guid guid;
    stream.readExact(guid.data(), guid.size());
    return guid;
}

bool Begins(const Guid& guid, std::string_view name) noexcept {
    return std::memcmp(guid.data(), name.data(), name.size()) == 0;
}

constexpr std::uint64_t Padded(std::uint64_t bytes) noexcept {
    return (bytes + kAlignment - 1) / kAlignment * kAlignment;
}

std::uint64_t ReadBodyLength(Qel::streamIn& stream) {
    std::array<std::byte, kSizeBytes> bytes;
    stream.readExact(bytes.data(), bytes.size());
    const std::uint64_t size = GetLittle64(bytes.data());
    if (size < kChunkHeaderBytes) throw Qel::invalid_input();
    return size - kChunkHeaderBytes;
}

void ReadFormat(Qel::streamIn& stream, std::uint64_t length, clWaveFormat& wave) {
    const std::uint64_t size = length + kChunkHeaderBytes;
    if (size < kSmallestFormat || size > kLargestFormat) throw Qel::invalid_input();
    clBuffer body;
    if (!body.Resize(static_cast<std::uint32_t>(length))) throw std::bad_alloc();
    stream.readExact(body.data(), body.size());
    wave.SetBytes(body.bytes());
    stream.skipExact(Padded(length) - length);
}

// Extra bytes of other formats than the extensible one don't reach the host, though the extra size tells of
// them.
void HandOut(const clWaveFormat& wave, DecoderWaveFormat& handedOut) noexcept {
    const bool extensible = wave.FormatTag() == clWaveFormat::kTagExtensible &&
                            wave.ExtraSize() >= clWaveFormat::kExtensibleExtra;
    handedOut = {};
    std::memcpy(&handedOut, wave.Record().data(), extensible ? sizeof handedOut : clWaveFormat::kRecordBytes);
}

}  // namespace

void ReadStreamHeader(Qel::streamIn& stream, const StreamHeader& header) {
    if (!Begins(ReadGuid(stream), "riff")) throw Qel::invalid_input();
    stream.skipExact(kSizeBytes);
    if (!Begins(ReadGuid(stream), "wave")) throw Qel::invalid_input();
    for (bool formatSeen = false;;) {
        const Guid guid = ReadGuid(stream);
        const std::uint64_t length = ReadBodyLength(stream);
        if (Begins(guid, "fmt ")) {
            ReadFormat(stream, length, header.wave);
            formatSeen = true;
        } else if (Begins(guid, "data")) {
            header.dataSize = length;
            if (!formatSeen) throw Qel::invalid_input();
            HandOut(header.wave, header.handedOut);
            return;
        } else {
            stream.skipExact(Padded(length));
        }
    }
}
