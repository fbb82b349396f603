// GIF, JPEG, PNG, WebP and BMP.
#include <array>
#include <cstring>
#include <string_view>

#include "image/image_readers.h"
#include "support/endian.h"
#include "transport/exceptions.h"
#include "transport/waitable.h"

namespace {

void Require(bool condition) {
    if (!condition) throw Qel::invalid_input();
}

bool IsJpegFrameHeader(unsigned marker) noexcept {
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

// Segments that begin with their own length.
bool IsJpegSegment(unsigned marker) noexcept {
    return marker == 0xC4 || marker == 0xDA || marker == 0xDB || marker == 0xFE ||
           (marker >= 0xE0 && marker <= 0xEF);
}

ImageInfo ReadJpegFrameHeader(Qel::streamIn& stream) {
    Require(ReadBig16(stream) >= 6);
    ImageInfo info{.name = "JPEG", .extension = "jpg", .mime = "image/jpeg"};
    const unsigned precision = ReadByte(stream);
    info.height = ReadBig16(stream);
    info.width = ReadBig16(stream);
    Require(info.width != 0 && info.height != 0);
    info.depth = ReadByte(stream) * precision;
    return info;
}

using ChunkType = std::array<char, 4>;

struct PngChunk {
    std::uint32_t length;
    ChunkType type;

    bool Is(std::string_view wanted) const noexcept { return std::string_view(type.data(), 4) == wanted; }
};

PngChunk ReadPngChunk(Qel::streamIn& stream) {
    PngChunk chunk{ReadBig32(stream), {}};
    stream.readExact(chunk.type.data(), chunk.type.size());
    return chunk;
}

constexpr std::uint64_t kPngChecksumBytes = 4;

unsigned PngChannels(unsigned colourType) noexcept {
    constexpr std::array<unsigned, 7> channels{1, 1, 3, 1, 2, 1, 4};
    return colourType < channels.size() ? channels[colourType] : 1;
}

bool HasPngTransparency(Qel::streamIn& stream) {
    for (;;) {
        const PngChunk chunk = ReadPngChunk(stream);
        if (chunk.Is("tRNS")) return true;
        if (chunk.Is("IDAT")) return false;
        stream.skipExact(chunk.length + kPngChecksumBytes);
    }
}

}  // namespace

ImageInfo ReadGif(Qel::streamIn& stream) {
    constexpr unsigned kExtension = 0x21;
    constexpr unsigned kGraphicControl = 0xF9;
    ImageInfo info{.depth = 8, .name = "GIF", .extension = "gif", .mime = "image/gif"};
    stream.skipExact(4);
    info.width = ReadLittle16(stream);
    info.height = ReadLittle16(stream);
    Require(info.width != 0 && info.height != 0);
    const unsigned flags = ReadByte(stream);
    stream.skipExact(2);
    // Shorter than the colour table is: what follows is looked at as far as it makes sense.
    if ((flags & 0x80) != 0) stream.skipExact(std::uint64_t{flags & 7} * 3);
    while (ReadByte(stream) == kExtension) {
        const unsigned label = ReadByte(stream);
        unsigned size = ReadByte(stream);
        if (label == kGraphicControl && size == 4) {
            if ((ReadByte(stream) & 1) != 0) info.alpha = true;
            --size;
        }
        stream.skipExact(size);
    }
    return info;
}

ImageInfo ReadJpeg(Qel::streamIn& stream) {
    Qel::CheckAbort();
    for (;;) {
        Require(ReadByte(stream) == 0xFF);
        const unsigned marker = ReadByte(stream);
        if (IsJpegFrameHeader(marker)) return ReadJpegFrameHeader(stream);
        if (IsJpegSegment(marker)) {
            const unsigned length = ReadBig16(stream);
            Require(length >= 2);
            stream.skipExact(length - 2);
        } else {
            Require(marker == 0xDD);
            stream.skipExact(4);
        }
        Qel::CheckAbort();
    }
}

ImageInfo ReadPng(Qel::streamIn& stream) {
    constexpr std::string_view kRestOfSignature = "NG\r\n\x1A\n";
    std::array<char, kRestOfSignature.size()> signature;
    stream.readExact(signature.data(), signature.size());
    Require(std::string_view(signature.data(), signature.size()) == kRestOfSignature);
    const PngChunk header = ReadPngChunk(stream);
    Require(header.length >= 10 && header.Is("IHDR"));
    ImageInfo info{.name = "PNG", .extension = "png", .mime = "image/png"};
    info.width = ReadBig32(stream);
    info.height = ReadBig32(stream);
    const unsigned bitDepth = ReadByte(stream);
    const unsigned colourType = ReadByte(stream);
    stream.skipExact(header.length - 10 + kPngChecksumBytes);
    info.depth = bitDepth * PngChannels(colourType);
    info.alpha = colourType == 4 || colourType == 6;
    if (info.alpha) return info;
    try {
        info.alpha = HasPngTransparency(stream);
    } catch (const Qel::invalid_input&) {
        // Cut off behind its header: the answer stands.
    }
    return info;
}

ImageInfo ReadWebP(Qel::streamIn& stream) {
    std::array<std::byte, 30> file{std::byte{'R'}, std::byte{'I'}};
    stream.readExact(file.data() + 2, file.size() - 2);
    const auto at = [&](std::size_t offset) { return std::to_integer<std::uint32_t>(file[offset]); };
    const auto text = [&](std::size_t offset) {
        return std::string_view(reinterpret_cast<const char*>(file.data()) + offset, 4);
    };
    const auto little24 = [&](std::size_t offset) {
        return at(offset) | at(offset + 1) << 8 | at(offset + 2) << 16;
    };
    Require(text(0) == "RIFF" && text(8) == "WEBP");
    ImageInfo info{.depth = 24, .name = "WebP", .extension = "webp", .mime = "image/webp"};
    if (text(12) == "VP8 ") {
        Require(at(23) == 0x9D && at(24) == 0x01 && at(25) == 0x2A);
        info.width = GetLittle16(&file[26]) & 0x3FFF;
        info.height = GetLittle16(&file[28]) & 0x3FFF;
        Require(info.width != 0 && info.height != 0);
        return info;
    }
    if (text(12) == "VP8X") {
        info.alpha = (at(20) & 0x10) != 0;
        info.width = little24(24) + 1;
        info.height = little24(27) + 1;
    } else {
        Require(text(12) == "VP8L");
        const std::uint32_t bits = GetLittle32(&file[21]);
        info.width = (bits & 0x3FFF) + 1;
        info.height = (bits >> 14 & 0x3FFF) + 1;
        info.alpha = (at(24) & 0x10) != 0;
    }
    if (info.alpha) info.depth = 32;
    return info;
}

ImageInfo ReadBmp(Qel::streamIn& stream) {
    ImageInfo info{.name = "BMP", .extension = "bmp", .mime = "image/x-portable-bitmap"};
    stream.skipExact(12);
    const std::uint32_t headerSize = ReadLittle32(stream);
    Require(headerSize >= 12);
    const bool old = headerSize < 40;
    info.width = old ? ReadLittle16(stream) : ReadLittle32(stream);
    info.height = old ? ReadLittle16(stream) : ReadLittle32(stream);
    stream.skipExact(2);
    info.depth = ReadLittle16(stream);
    return info;
}
