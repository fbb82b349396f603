#include "host/files/wav_header.h"

#include <array>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

namespace host {

namespace {

constexpr std::uint32_t kLargestSize = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint16_t kPcm = 1;
constexpr std::uint16_t kExtensible = 0xFFFE;
constexpr std::uint16_t kExtensionSize = 22;
constexpr std::uint32_t kChunkHeaderSize = 8;
// RIFF size, data size, sample count, length of an empty table.
constexpr std::uint32_t kDs64Size = 8 + 8 + 8 + 4;

constexpr std::string_view kIncomplete = "incomplete";

class HeaderBytes {
  public:
    void Name(std::string_view name) {
        for (const char letter : name) bytes_.push_back(static_cast<std::byte>(letter));
    }

    template <typename Number>
    void Append(Number number) {
        for (std::size_t index = 0; index < sizeof(Number); ++index) {
            bytes_.push_back(static_cast<std::byte>(static_cast<std::uint64_t>(number) >> (8 * index)));
        }
    }

    void Chunk(std::string_view name, std::uint32_t size) {
        Name(name);
        Append(size);
    }

    std::size_t size() const { return bytes_.size(); }
    std::vector<std::byte> Take() { return std::move(bytes_); }

  private:
    std::vector<std::byte> bytes_;
};

bool IsExtensible(const DecoderWaveFormat& format) {
    return format.formatTag == kExtensible && format.extraSize >= kExtensionSize;
}

// The extensible record keeps the real tag in front of its identifier.
bool IsPcm(const DecoderWaveFormat& format) {
    if (!IsExtensible(format)) return format.formatTag == kPcm;
    return format.subFormat[0] == kPcm && format.subFormat[1] == 0;
}

std::vector<std::byte> FormatChunk(const DecoderWaveFormat& format) {
    constexpr std::uint32_t kPlainSize = 16;
    HeaderBytes bytes;
    const bool extensible = IsExtensible(format);
    const bool bare = format.formatTag == kPcm;
    const std::uint32_t tail = bare ? 0 : extensible ? 2 + kExtensionSize : 2;
    bytes.Chunk("fmt ", kPlainSize + tail);
    bytes.Append(format.formatTag);
    bytes.Append(format.channels);
    bytes.Append(format.samplesPerSecond);
    bytes.Append(format.averageBytesPerSecond);
    bytes.Append(format.blockAlign);
    bytes.Append(format.bitsPerSample);
    if (bare) return bytes.Take();
    bytes.Append(extensible ? kExtensionSize : std::uint16_t{0});
    if (extensible) {
        bytes.Append(format.validBitsPerSample);
        bytes.Append(format.channelMask);
        for (const std::uint8_t byte : format.subFormat) bytes.Append(byte);
    }
    return bytes.Take();
}

void Append(std::vector<std::byte>& bytes, const std::vector<std::byte>& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

std::vector<std::byte> Chunk(std::string_view name, std::uint32_t size) {
    HeaderBytes bytes;
    bytes.Chunk(name, size);
    return bytes.Take();
}

}  // namespace

std::vector<std::byte> WavFileHeader(const DecoderWaveFormat& format, std::uint64_t sampleBytes,
                                     Samples samples) {
    constexpr std::uint32_t kFactSize = 4;
    const std::uint64_t frames = format.blockAlign == 0 ? 0 : sampleBytes / format.blockAlign;
    const std::vector<std::byte> formatChunk = FormatChunk(format);

    // What the RIFF size counts: from "WAVE" to the end of the file.
    const std::uint64_t factSize = IsPcm(format) ? 0 : kChunkHeaderSize + kFactSize;
    const std::uint64_t riffSize = 4 + kChunkHeaderSize + kDs64Size + formatChunk.size() + factSize +
                                   kChunkHeaderSize + sampleBytes + sampleBytes % 2;
    const bool large = riffSize > kLargestSize;
    const auto limited = [&](std::uint64_t size) {
        return large || size > kLargestSize ? kLargestSize : static_cast<std::uint32_t>(size);
    };

    HeaderBytes bytes;
    bytes.Chunk(large ? "RF64" : "RIFF", limited(riffSize));
    bytes.Name("WAVE");
    // The room that RF64 needs for its sizes stands empty in a small file.
    bytes.Chunk(large ? "ds64" : "JUNK", kDs64Size);
    if (large) {
        bytes.Append(riffSize);
        bytes.Append(sampleBytes);
        bytes.Append(frames);
        bytes.Append(std::uint32_t{0});
    } else {
        std::string note(samples == Samples::Incomplete ? kIncomplete : "");
        note.resize(kDs64Size);
        bytes.Name(note);
    }
    std::vector<std::byte> header = bytes.Take();
    Append(header, formatChunk);
    if (!IsPcm(format)) {
        HeaderBytes fact;
        fact.Chunk("fact", kFactSize);
        fact.Append(limited(frames));
        Append(header, fact.Take());
    }
    Append(header, Chunk("data", limited(sampleBytes)));
    return header;
}

bool IsWholeWavFile(std::span<const std::byte> start, std::uint64_t fileSize) {
    if (start.size() < kWavStartSize) return false;
    const std::string_view text(reinterpret_cast<const char*>(start.data()), start.size());
    const auto number = [&](std::size_t offset, std::size_t size) {
        std::uint64_t value = 0;
        while (size > 0) value = value << 8 | std::to_integer<std::uint64_t>(start[offset + --size]);
        return value;
    };
    if (text.substr(8, 4) != "WAVE") return false;
    if (text.substr(0, 4) == "RF64" && text.substr(12, 4) == "ds64") {
        return number(20, 8) + kChunkHeaderSize == fileSize;
    }
    return text.substr(0, 4) == "RIFF" && number(4, 4) + kChunkHeaderSize == fileSize &&
           !IsIncompleteWavFile(start);
}

bool IsIncompleteWavFile(std::span<const std::byte> start) {
    const std::string_view text(reinterpret_cast<const char*>(start.data()), start.size());
    return text.size() >= kWavStartSize && text.substr(0, 4) == "RIFF" && text.substr(12, 4) == "JUNK" &&
           text.substr(20, kIncomplete.size()) == kIncomplete;
}

std::vector<std::byte> WavStreamHeader(const DecoderWaveFormat& format) {
    std::vector<std::byte> header = Chunk("RIFF", kLargestSize);
    for (const char letter : std::string_view("WAVE")) header.push_back(static_cast<std::byte>(letter));
    Append(header, FormatChunk(format));
    Append(header, Chunk("data", kLargestSize));
    return header;
}

}  // namespace host
