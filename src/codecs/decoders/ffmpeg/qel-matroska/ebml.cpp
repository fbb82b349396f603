#include "codecs/decoders/ffmpeg/qel-matroska/ebml.h"

#include <algorithm>
#include <array>
#include <utility>

namespace EBML {

namespace {

constexpr unsigned kLargestIdWidth = 4;
constexpr unsigned kLargestSizeWidth = 8;
constexpr std::uint64_t kLargestUInt = 8;
constexpr std::uint64_t kReadChunk = 0x100000;
constexpr std::uint64_t kMagicBlock = 1024;
constexpr std::byte kMagicFirstByte{0x1A};
constexpr std::byte kUnknownSizeByte{0xFF};
constexpr std::uint64_t kNewestReadVersion = 1;
constexpr std::uint64_t kNewestDocTypeReadVersion = 2;

std::byte ReadByte(Stream& stream) {
    std::byte byte{};
    stream.ReadBounded(&byte, 1);
    return byte;
}

// The place of the length marker: its width in bytes and the bits of the first byte below it.
struct Marker {
    unsigned width;
    unsigned firstBits;
};

Marker FindMarker(std::byte first, unsigned largestWidth) {
    const unsigned bits = std::to_integer<unsigned>(first);
    unsigned mask = 0x80;
    unsigned width = 1;
    while ((bits & mask) == 0) {
        mask >>= 1;
        if (++width > largestWidth) throw ParseError();
    }
    Assert(mask != 0, "mask != 0");
    return {width, bits & (mask - 1)};
}

std::uint64_t ReadBigEndian(Stream& stream, std::uint64_t value, unsigned count) {
    std::array<std::byte, kLargestUInt> bytes;
    stream.ReadBounded(bytes.data(), count);
    for (unsigned i = 0; i < count; ++i) value = value << 8 | std::to_integer<std::uint64_t>(bytes[i]);
    return value;
}

std::uint64_t ReadVarInt(Stream& stream, std::byte first, unsigned largestWidth) {
    const Marker marker = FindMarker(first, largestWidth);
    return ReadBigEndian(stream, marker.firstBits, marker.width - 1);
}

// Text up to the first NUL has to satisfy `legal`, and behind it only NULs may stand.
template <typename Legal>
std::string ReadText(Stream& stream, std::uint64_t size, Legal legal) {
    const Bytes bytes = ReadBinary(stream, size);
    std::string text;
    text.reserve(bytes.size());
    bool ended = false;
    for (const std::byte byte : bytes) {
        const unsigned code = std::to_integer<unsigned>(byte);
        ended = ended || code == 0;
        if (ended ? code != 0 : !legal(code)) throw ParseError();
        text.push_back(static_cast<char>(code));
    }
    return text;
}

void RequireVersionUpTo(std::uint64_t newest, Stream& stream, std::uint64_t size) {
    if (ReadUInt(stream, size) > newest) throw ParseError();
}

// Steps over what is left of the body that the range holds.
void SkipBody(Stream& stream) {
    if (stream.Tell() > stream.m_range.end) throw ParseError();
    stream.Skip(stream.LeftInRange());
}

}  // namespace

std::uint32_t ReadElementId(Stream& stream) {
    return static_cast<std::uint32_t>(ReadVarInt(stream, ReadByte(stream), kLargestIdWidth));
}

std::uint64_t ReadElementSize(Stream& stream) {
    const std::byte first = ReadByte(stream);
    return first == kUnknownSizeByte ? kUnknownSize : ReadVarInt(stream, first, kLargestSizeWidth);
}

std::uint64_t ReadUInt(Stream& stream, std::uint64_t size) {
    if (size < 1 || size > kLargestUInt) throw ParseError();
    return ReadBigEndian(stream, 0, static_cast<unsigned>(size));
}

Bytes ReadBinary(Stream& stream, std::uint64_t size) {
    stream.RequireInRange(size);
    Bytes bytes;
    while (bytes.size() < size) {
        const std::size_t done = bytes.size();
        const auto chunk = static_cast<std::size_t>(std::min(size - done, kReadChunk));
        bytes.resize(done + chunk);
        stream.ReadBounded(bytes.data() + done, chunk);
    }
    return bytes;
}

std::string ReadAscii(Stream& stream, std::uint64_t size) {
    return ReadText(stream, size, [](unsigned code) { return code >= 32 && code <= 126; });
}

std::string ReadUtf8(Stream& stream, std::uint64_t size) {
    return ReadText(stream, size, [](unsigned) { return true; });
}

std::string_view TextOf(const std::string& padded) noexcept {
    return padded.c_str();
}

void SeekToEbmlMagic(StreamSeekable& stream) {
    if (stream.m_range.begin != 0) throw ParseError();
    stream.Seek(0);
    std::array<std::byte, kMagicBlock> block;
    for (;;) {
        const std::uint64_t position = stream.Tell();
        const auto count = static_cast<std::size_t>(std::min(kMagicBlock, stream.LeftInRange()));
        if (count == 0) throw ParseError();
        stream.ReadBounded(block.data(), count);
        const auto end = block.begin() + static_cast<std::ptrdiff_t>(count);
        const auto found = std::find(block.begin(), end, kMagicFirstByte);
        if (found == end) continue;
        stream.Seek(position + static_cast<std::uint64_t>(found - block.begin()));
        return;
    }
}

void Parser::OnElement(std::uint32_t, std::uint64_t, Stream&) {}

void Parser::Run(Stream& stream) {
    OnBegin(stream);
    while (stream.LeftInRange() != 0 && KeepGoing()) {
        const std::uint64_t outerStart = std::exchange(elementStart, stream.Tell());
        const std::uint32_t id = ReadElementId(stream);
        const std::uint64_t size = ReadElementSize(stream);
        if (size >= kUnknownSize) {
            OnElement(id, size, stream);
            elementStart = outerStart;
            break;
        }
        ScopedRange body(stream, size);
        OnElement(id, size, stream);
        SkipBody(stream);
        body.Restore();
        elementStart = outerStart;
    }
    OnEnd();
    parsed = true;
}

void Parser::RunOne(Stream& stream, std::uint32_t expectedId) {
    const std::uint64_t outerStart = std::exchange(elementStart, stream.Tell());
    const std::uint32_t id = ReadElementId(stream);
    const std::uint64_t size = ReadElementSize(stream);
    if (id != expectedId) throw ParseError();
    ScopedRange body(stream, size);
    Run(stream);
    SkipBody(stream);
    body.Restore();
    elementStart = outerStart;
}

void ParserEBML::OnElement(std::uint32_t id, std::uint64_t size, Stream& stream) {
    switch (id) {
        case Id::DocType:
            docType = ReadAscii(stream, size);
            break;
        case Id::DocTypeReadVersion:
            RequireVersionUpTo(kNewestDocTypeReadVersion, stream, size);
            break;
        case Id::ReadVersion:
            RequireVersionUpTo(kNewestReadVersion, stream, size);
            break;
        default:
            break;
    }
}

void ForEachChild(Stream& stream, ParserLambda::Function function) {
    const bool keepGoing = true;
    ParserLambda(std::move(function), keepGoing).Run(stream);
}

std::uint64_t MeasureElementAndVoids(Stream& stream, std::uint32_t id, std::uint64_t limit) {
    const std::uint64_t start = stream.Tell();
    ParserDummy().RunOne(stream, id);
    for (;;) {
        const std::uint64_t span = stream.Tell() - start;
        if (stream.LeftInRange() == 0 || span >= limit || ReadElementId(stream) != Id::Void) return span;
        stream.Skip(ReadElementSize(stream));
    }
}

std::uint64_t MeasureAt(StreamSeekable& stream, std::uint32_t id, std::uint64_t position,
                        std::uint64_t limitOffset) {
    stream.SeekBounded(position);
    ScopedRange limits(stream, limitOffset - position);
    const std::uint64_t span = MeasureElementAndVoids(stream, id, kNoLimit);
    limits.Restore();
    return span;
}

}  // namespace EBML
