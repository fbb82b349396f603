#include "tags/id3v2/writer.h"

#include <algorithm>
#include <array>
#include <limits>
#include <span>
#include <stdexcept>
#include <utility>

#include "support/endian.h"
#include "tags/id3v2/new_frames.h"
#include "tags/id3v2/retained_frames.h"

namespace id3parser {

namespace {

constexpr std::uint8_t kTagUnsynchronised = 0x80;
constexpr std::uint64_t kMostPadding = 2048;
constexpr std::uint8_t kFrontCoverType = 3;

constexpr std::byte kSyncByte{0xFF};
constexpr std::byte kSyncMask{0xE0};

bool isSyncTail(std::byte byte) {
    return (byte & kSyncMask) == kSyncMask;
}

// Of a version without a writer only this stays; all else is in the values.
bool survivesUpgrade(id3frame& frame) {
    if (frame.id == kPictureFrame) return true;
    if (frame.id != kCommentFrame && frame.id != kLyricsFrame) return false;
    try {
        upgradeFrameEncoding(frame);
        return true;
    } catch (const parseError&) {
        return false;
    }
}

std::uint8_t encodingFor(std::uint8_t wanted, std::uint32_t version) {
    const bool allowed = wanted <= kEncodingUtf16 || (version == kVersion24 && wanted != kEncodingUtf16Big);
    return allowed ? wanted : std::uint8_t{kEncodingUtf16};
}

int pictureRank(const id3frame& frame) {
    if (frame.id != kPictureFrame) return 0;
    try {
        return pictureFields(frame.data).type == kFrontCoverType ? 1 : 2;
    } catch (const parseError&) {
        return 2;
    }
}

void writeByte(streamOut& out, std::uint32_t value) {
    const auto byte = static_cast<std::byte>(value);
    out.write(&byte, 1);
}

void writeBig32(streamOut& out, std::uint32_t value) {
    std::array<std::byte, 4> bytes{};
    PutBig32(bytes.data(), value);
    out.write(bytes.data(), bytes.size());
}

void writeFrameFlags(streamOut& out, std::uint8_t formatFlags) {
    writeByte(out, 0);
    writeByte(out, formatFlags);
}

// What the parser refuses would be lost with all that stands behind it.
void requireReadable(std::uint64_t frameSize) {
    if (frameSize >= kFrameSizeLimit) throw writeError();
}

void renderFrame(const id3frame& frame, streamOut& out) {
    requireReadable(frame.data.size());
    writeBig32(out, frame.id);
    writeBig32(out, static_cast<std::uint32_t>(frame.data.size()));
    writeFrameFlags(out, 0);
    out.write(frame.data.data(), frame.data.size());
}

// A frame of the same version stays as it was; any other is looked at.
bool needsUnsynchronisation(const id3frame& frame) {
    if (frame.version == kVersion24) return (frame.formatFlags & kFrameUnsynchronised) != 0;
    const auto& data = frame.data;
    const auto isSync = [](std::byte first, std::byte second) {
        return first == kSyncByte && isSyncTail(second);
    };
    return std::adjacent_find(data.begin(), data.end(), isSync) != data.end() ||
           (!data.empty() && data.back() == kSyncByte);
}

bool changesInUnsynchronisation(std::byte next) {
    return isSyncTail(next) || next == std::byte{0};
}

// Whether a reader that undoes unsynchronisation gets other bytes than these, or balks at them.
bool isDamagedByUndoing(const FrameBytes& data) {
    const auto pair = std::adjacent_find(data.begin(), data.end(), [](std::byte first, std::byte second) {
        return first == kSyncByte && changesInUnsynchronisation(second);
    });
    return pair != data.end() || (!data.empty() && data.back() == kSyncByte);
}

// Calls `put` for each run of bytes between which a zero has to stand.
template <typename Put>
void unsynchronise(std::span<const std::byte> data, Put put) {
    const auto wantsZero = [data](std::size_t sync) {
        return sync + 1 == data.size() || changesInUnsynchronisation(data[sync + 1]);
    };
    std::size_t start = 0;
    for (std::size_t from = 0; from < data.size();) {
        const auto sync = std::find(data.begin() + static_cast<std::ptrdiff_t>(from), data.end(), kSyncByte);
        if (sync == data.end()) break;
        from = static_cast<std::size_t>(sync - data.begin()) + 1;
        if (!wantsZero(from - 1)) continue;
        put(data.subspan(start, from - start), true);
        start = from;
    }
    put(data.subspan(start), false);
}

std::uint64_t unsynchronisedBytes(const FrameBytes& data) {
    std::uint64_t bytes = 0;
    unsynchronise(
        data, [&bytes](std::span<const std::byte> run, bool zero) { bytes += run.size() + (zero ? 1 : 0); });
    return bytes;
}

// What the frame takes behind its header.
std::uint64_t storedBytes(const id3frame& frame, std::uint32_t tagVersion) {
    if (tagVersion == kVersion23 || !needsUnsynchronisation(frame)) return frame.data.size();
    return unsynchronisedBytes(frame.data) + sizeof(std::uint32_t);
}

// Whether the frame was unsynchronised.
bool renderFrameV24(const id3frame& frame, streamOut& out) {
    const bool unsynchronised = needsUnsynchronisation(frame);
    const std::uint64_t size = storedBytes(frame, kVersion24);
    requireReadable(size);
    writeBig32(out, frame.id);
    writeSynchsafe(out, size);
    writeFrameFlags(out, unsynchronised ? kFrameUnsynchronised | kFrameDataLength : 0);
    if (!unsynchronised) {
        out.write(frame.data.data(), frame.data.size());
        return false;
    }
    writeSynchsafe(out, frame.data.size());
    unsynchronise(frame.data, [&out](std::span<const std::byte> run, bool zero) {
        out.write(run.data(), run.size());
        if (zero) writeByte(out, 0);
    });
    return true;
}

// Other programs undo the unsynchronisation of every frame when the header announces it, so it may only do so
// when that does no frame harm which was left as it is.
bool mayAnnounceUnsynchronisation(const id3tag& tag) {
    return std::none_of(tag.frames.begin(), tag.frames.end(), [](const id3frame& frame) {
        return isDamagedByUndoing(frame.data) && !needsUnsynchronisation(frame);
    });
}

// Whether the header has to announce unsynchronisation.
bool renderFrames(const id3tag& tag, streamOut& out) {
    bool anyUnsynchronised = false;
    for (const id3frame& frame : tag.frames) {
        if (tag.version == kVersion23) {
            renderFrame(frame, out);
        } else if (renderFrameV24(frame, out)) {
            anyUnsynchronised = true;
        }
    }
    return anyUnsynchronised && mayAnnounceUnsynchronisation(tag);
}

std::uint64_t paddingFor(std::uint64_t tagBytes, const TagRoom& room) {
    const std::uint64_t fresh = std::min<std::uint64_t>(room.maxPadding, kMostPadding);
    std::uint64_t padding = fresh;
    if (tagBytes <= room.oldSize) {
        padding = room.oldSize - tagBytes;
        if (padding > room.maxPadding) padding = fresh;
    }
    const std::uint64_t excess = (tagBytes + padding) % room.alignment;
    return excess == 0 ? padding : padding + room.alignment - excess;
}

}  // namespace

void valuesToFrames(id3tag& tag, const TagValues& values, WriteSettings settings) {
    if (tag.version != kVersion23 && tag.version != kVersion24) {
        tag.version = kVersion23;
        tag.frames.remove_if([](id3frame& frame) { return !survivesUpgrade(frame); });
    }
    settings.encoding = encodingFor(settings.encoding, tag.version);
    TagValues work = values;
    dedupeYear(work);
    std::list<id3frame> old = std::move(tag.frames);
    tag.frames.clear();
    retainMatchingFrames(old, work, {tag.overrides, tag.version, true});
    appendNewFrames(tag.frames, std::move(work), tag.overrides, tag.version, settings);
    tag.frames.splice(tag.frames.end(), old);
}

void orderPictures(id3tag& tag) {
    std::array<std::list<id3frame>, 3> ranks;
    while (!tag.frames.empty()) {
        auto& rank = ranks[static_cast<std::size_t>(pictureRank(tag.frames.front()))];
        rank.splice(rank.end(), tag.frames, tag.frames.begin());
    }
    for (auto& rank : ranks) tag.frames.splice(tag.frames.end(), rank);
}

void renderTag(const id3tag& tag, streamOutBuffer& out, const TagRoom& room) {
    if (tag.version != kVersion23 && tag.version != kVersion24) throw writeError();
    std::size_t expected = kTagHeaderBytes;
    for (const id3frame& frame : tag.frames) expected += kFrameHeaderBytes + storedBytes(frame, tag.version);
    out.bytes.reserve(expected + room.maxPadding);

    // The frames get their final place at once: one of them may be a picture of many megabytes.
    out.bytes.resize(kTagHeaderBytes);
    const bool unsynchronised = renderFrames(tag, out);
    const std::uint64_t tagBytes = out.bytes.size();
    const std::uint64_t padding = paddingFor(tagBytes, room);
    const std::uint64_t size = tagBytes + padding - kTagHeaderBytes;
    if (size > std::numeric_limits<std::uint32_t>::max()) throw std::overflow_error("overflow");
    streamOutBuffer header;
    header.write(reinterpret_cast<const std::byte*>(kTagSignature.data()), kTagSignature.size());
    writeByte(header, tag.version);
    writeByte(header, 0);  // revision
    writeByte(header, unsynchronised ? kTagUnsynchronised : 0);
    writeSynchsafe(header, size);
    std::ranges::copy(header.bytes, out.bytes.begin());
    out.bytes.resize(out.bytes.size() + padding);
}

void writeSynchsafe(streamOut& out, std::uint64_t value) {
    if (value >= kSizeLimit) throw writeError();
    const auto bits = static_cast<std::uint32_t>(value);
    writeBig32(out,
               (bits & 0x7F) | ((bits & 0x3F80) << 1) | ((bits & 0x1FC000) << 2) | ((bits & 0xFE00000) << 3));
}

}  // namespace id3parser
