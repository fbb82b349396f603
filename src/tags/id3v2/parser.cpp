#include "tags/id3v2/parser.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <span>
#include <utility>

#include "support/endian.h"
#include "tags/id3v2/frame_ids.h"
#include "tags/id3v2/frames.h"
#include "tags/id3v2/parser_streams.h"

namespace id3parser {

namespace {

// Flags of the tag's header.
constexpr std::uint8_t kTagUnsynchronised = 0x80;
constexpr std::uint8_t kTagExtendedHeader = 0x40;
// The flag bits that reject a tag, by version.
constexpr std::uint8_t kTagRejected22 = 0x7F;
constexpr std::uint8_t kTagRejected23 = 0x1F;
constexpr std::uint8_t kTagRejected24 = 0x0F;

// Bits of the flag bytes of a frame with which it isn't stored.
constexpr std::uint8_t kFrameHidden23 = 0x60;        // format: encryption, grouping
constexpr std::uint8_t kFrameCompressed23 = 0x80;    // format
constexpr std::uint8_t kFrameHiddenStatus24 = 0x70;  // status: alter preservation of tag and file, read-only
constexpr std::uint8_t kFrameHidden24 = 0x44;        // format: grouping, encryption
constexpr std::uint8_t kFrameCompressed24 = 0x08;    // format

constexpr std::uint32_t kDataLengthBytes = 4;
constexpr std::uint32_t kExtendedHeaderSmallest24 = 6;

// A body takes memory in steps that its bytes have to fill first, each a few times larger than all before.
constexpr std::uint64_t kBodyPiece = std::uint64_t{1024} * 1024;
constexpr std::uint64_t kBodyGrowth = 3;
constexpr std::uint64_t kUnsynchronisedPiece = 256;

std::uint8_t readByte(streamIn& stream) {
    std::byte byte{};
    stream.readExact(&byte, 1);
    return std::to_integer<std::uint8_t>(byte);
}

std::uint32_t readPlainSize(streamIn& stream) {
    std::array<std::byte, 4> bytes{};
    stream.readExact(bytes.data(), bytes.size());
    return GetBig32(bytes.data());
}

std::uint32_t readSynchsafeSize(streamIn& stream) {
    std::array<std::byte, 4> bytes{};
    stream.readExact(bytes.data(), bytes.size());
    return readSynchsafe(bytes.data());
}

void readBody(streamIn& stream, FrameBytes& body, std::uint32_t size, std::uint64_t sourceBytes) {
    const std::uint64_t first = size <= sourceBytes ? size : kBodyPiece;
    while (body.size() < size) {
        const std::size_t have = body.size();
        const std::uint64_t piece =
            std::min<std::uint64_t>(size - have, std::max<std::uint64_t>(first, have * kBodyGrowth));
        body.reserve(have + piece);
        body.resize(have + piece);
        stream.readExact(body.data() + have, piece);
    }
}

// The decoded size isn't known beforehand, but is no larger than what is stored: asks for more until less
// comes.
void readUnsynchronisedBody(streamIn& stream, FrameBytes& body, std::uint32_t size,
                            std::uint64_t sourceBytes) {
    streamLimited window(stream, size);
    streamFixSync decoded(window);
    std::uint64_t piece = size <= sourceBytes ? size : kUnsynchronisedPiece;
    while (body.size() < size) {
        const std::size_t have = body.size();
        piece = std::min<std::uint64_t>(piece, size - have);
        body.resize(have + piece);
        const std::uint64_t came = decoded.read(body.data() + have, piece);
        body.resize(have + came);
        if (came < piece) return;
        piece *= 2;
    }
}

std::string_view textOf(std::span<const std::byte> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// A NUL in fourth place makes it an identifier of version 2.2 in a later tag.
std::uint32_t resolveFrameId(std::span<const std::byte, 4> id) {
    if (id[3] != std::byte{0}) return GetBig32(id.data());
    return mapShortFrameId(textOf(id.first(3)));
}

std::string_view mimeOfPictureFormat(std::string_view format) {
    if (format == "PNG") return "image/png";
    if (format == "JPG") return "image/jpeg";
    if (format == "GIF") return "image/gif";
    return "image/x-unknown";
}

// Turns the picture layout of version 2.2, with its format of three letters, into the later one.
void upgradePictureLayout(FrameBytes& body) {
    constexpr std::size_t kOldHeader = 4;
    if (body.size() < kOldHeader || body[0] > std::byte{1}) throw parseError();
    const std::string_view mime = mimeOfPictureFormat(textOf(std::span(body).subspan(1, 3)));
    FrameBytes upgraded;
    upgraded.reserve(1 + mime.size() + 1 + body.size() - kOldHeader);
    upgraded.push_back(body[0]);
    for (const char letter : mime) upgraded.push_back(static_cast<std::byte>(letter));
    upgraded.push_back(std::byte{0});
    const std::size_t front = upgraded.size();
    upgraded.resize(front + body.size() - kOldHeader);
    std::copy(body.begin() + kOldHeader, body.end(), upgraded.begin() + static_cast<std::ptrdiff_t>(front));
    body = std::move(upgraded);
}

// What stands in front of the image; without an image behind it in these bytes they aren't enough.
bool holdsPictureFront(const id3frame& frame) {
    try {
        FrameBytes front = frame.data;
        if (frame.version == kVersion22) upgradePictureLayout(front);
        pictureFields(front);
        return true;
    } catch (const parseError&) {
        return false;
    }
}

// The body, or the front of it when the rest may stay in the file.
void readFrame(id3tag& tag, streamIn& stream, id3frame& frame, std::uint32_t size) {
    constexpr std::uint32_t kFront = 512;
    if (tag.leavePictures && frame.id == kPictureFrame && size >= kSmallestLeft) {
        readBody(stream, frame.data, kFront, tag.sourceBytes);
        const std::uint32_t rest = size - kFront;
        std::int64_t position = 0;
        if (holdsPictureFront(frame) && stream.leave(rest, position)) {
            frame.rest = {position, rest};
            return;
        }
    }
    readBody(stream, frame.data, size, tag.sourceBytes);
}

void parseFramesV22(id3tag& tag, streamIn& stream, parseCallback& callback) {
    for (;;) {
        std::array<std::byte, 3> id{};
        if (stream.read(id.data(), id.size()) < id.size() || id[0] == std::byte{0}) return;
        std::array<std::byte, 3> sizeBytes{};
        stream.readExact(sizeBytes.data(), sizeBytes.size());
        const std::uint32_t size = GetBig24(sizeBytes.data());
        if (size == 0) continue;

        id3frame frame;
        frame.id = mapShortFrameId(textOf(id));
        frame.version = kVersion22;
        if (frame.id == 0 && !callback.wantFrame(0)) {
            stream.skipExact(size);
            continue;
        }
        readFrame(tag, stream, frame, size);
        if (frame.id == kPictureFrame) upgradePictureLayout(frame.data);
        tag.frames.push_back(std::move(frame));
    }
}

void parseFramesV23(id3tag& tag, streamIn& stream, parseCallback& callback) {
    for (;;) {
        std::array<std::byte, 4> id{};
        if (stream.read(id.data(), id.size()) < id.size() || id[0] == std::byte{0}) return;
        const std::uint32_t size = readPlainSize(stream);
        id3frame frame;
        frame.statusFlags = readByte(stream);
        frame.formatFlags = readByte(stream);
        if (size >= kFrameSizeLimit) throw parseError();

        frame.id = resolveFrameId(id);
        frame.version = kVersion23;
        if (size == 0 || (frame.formatFlags & kFrameHidden23) != 0 || !callback.wantFrame(frame.id)) {
            stream.skipExact(size);
        } else if ((frame.formatFlags & kFrameCompressed23) != 0) {
            if (size < kDataLengthBytes) throw parseError();
            stream.skipExact(size);
        } else {
            readFrame(tag, stream, frame, size);
            tag.frames.push_back(std::move(frame));
        }
    }
}

void parseFramesV24(id3tag& tag, streamIn& stream, parseCallback& callback) {
    for (;;) {
        std::array<std::byte, 4> id{};
        if (stream.read(id.data(), id.size()) < id.size() || id[0] == std::byte{0}) return;
        std::uint32_t size = readSynchsafeSize(stream);
        // Data that ends here is an error only when the frame has a body.
        std::array<std::byte, 2> flags{};
        stream.read(flags.data(), flags.size());
        if (size >= kFrameSizeLimit) throw parseError();

        id3frame frame;
        frame.id = resolveFrameId(id);
        frame.version = kVersion24;
        frame.statusFlags = std::to_integer<std::uint8_t>(flags[0]);
        frame.formatFlags = std::to_integer<std::uint8_t>(flags[1]);
        if (size == 0 || (frame.statusFlags & kFrameHiddenStatus24) != 0 ||
            (frame.formatFlags & kFrameHidden24) != 0 || !callback.wantFrame(frame.id)) {
            stream.skipExact(size);
            continue;
        }
        if ((frame.formatFlags & kFrameDataLength) != 0) {
            if (size < kDataLengthBytes) throw parseError();
            size -= kDataLengthBytes;
            stream.skipExact(kDataLengthBytes);
        }
        if ((frame.formatFlags & kFrameUnsynchronised) != 0) {
            readUnsynchronisedBody(stream, frame.data, size, tag.sourceBytes);
        } else {
            readFrame(tag, stream, frame, size);
        }
        if ((frame.formatFlags & kFrameCompressed24) == 0) tag.frames.push_back(std::move(frame));
    }
}

void skipExtendedHeaderV23(streamIn& stream) {
    stream.skipExact(readPlainSize(stream));
}

// This size counts itself.
void skipExtendedHeaderV24(streamIn& stream) {
    const std::uint32_t size = readSynchsafeSize(stream);
    if (size < kExtendedHeaderSmallest24) throw parseError();
    stream.skipExact(size - sizeof size);
}

void parseTagV22(id3tag& tag, streamIn& window, std::uint8_t flags, parseCallback& callback) {
    if ((flags & kTagRejected22) != 0) throw parseError();
    streamFixSync decoded(window);
    parseFramesV22(tag, (flags & kTagUnsynchronised) != 0 ? decoded : window, callback);
    tag.version = kVersion22;
}

void parseTagV23(id3tag& tag, streamIn& window, std::uint8_t flags, parseCallback& callback) {
    if ((flags & kTagRejected23) != 0) throw parseError();
    streamFixSync decoded(window);
    streamIn& top = (flags & kTagUnsynchronised) != 0 ? decoded : window;
    if ((flags & kTagExtendedHeader) != 0) skipExtendedHeaderV23(top);
    parseFramesV23(tag, top, callback);
    tag.version = kVersion23;
}

// Some writers state version 2.4 and lay the tag out as 2.3. The header's unsynchronisation doesn't count
// then.
bool reparseAsV23(id3tag& tag, streamIn& window, std::uint8_t flags, parseCallback& callback) {
    try {
        window.seek(0);
        id3tag attempt;
        attempt.sourceBytes = tag.sourceBytes;
        attempt.leavePictures = tag.leavePictures;
        if ((flags & kTagExtendedHeader) != 0) skipExtendedHeaderV23(window);
        parseFramesV23(attempt, window, callback);
        tag.frames.swap(attempt.frames);
        tag.version = kVersion23;
        return true;
    } catch (const std::bad_alloc&) {
        throw;  // says nothing about the tag
    } catch (...) {
        return false;
    }
}

void parseTagV24(id3tag& tag, streamIn& window, std::uint8_t flags, parseCallback& callback) {
    if ((flags & kTagRejected24) != 0) throw parseError();
    try {
        if ((flags & kTagExtendedHeader) != 0) skipExtendedHeaderV24(window);
        parseFramesV24(tag, window, callback);
        tag.version = kVersion24;
    } catch (const parseError&) {
        if (!reparseAsV23(tag, window, flags, callback)) throw;
    }
}

}  // namespace

std::uint32_t readSynchsafe(const std::byte* bytes) {
    const std::uint32_t value = GetBig32(bytes);
    if ((value & kSynchsafeMask) != 0) throw parseError();
    return (value & 0x7F) | ((value >> 1) & 0x3F80) | ((value >> 2) & 0x1FC000) | ((value >> 3) & 0xFE00000);
}

void parseTag(id3tag& tag, streamIn& stream, parseCallback& callback) {
    constexpr std::size_t kVersionAt = 3;
    constexpr std::size_t kFlagsAt = 5;
    constexpr std::size_t kSizeAt = 6;

    tag.frames.clear();
    tag.version = 0;
    std::array<std::byte, kTagHeaderBytes> header{};
    stream.readExact(header.data(), header.size());
    if (std::memcmp(header.data(), kTagSignature.data(), kTagSignature.size()) != 0) throw parseError();
    const auto version = std::to_integer<std::uint32_t>(header[kVersionAt]);
    const auto flags = std::to_integer<std::uint8_t>(header[kFlagsAt]);
    streamLimited window(stream, readSynchsafe(header.data() + kSizeAt));
    switch (version) {
        case kVersion22:
            return parseTagV22(tag, window, flags, callback);
        case kVersion23:
            return parseTagV23(tag, window, flags, callback);
        case kVersion24:
            return parseTagV24(tag, window, flags, callback);
        default:
            throw parseError();
    }
}

}  // namespace id3parser
