#include "codecs/decoders/ffmpeg/qel-matroska/ebml_stream.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace EBML {

namespace {

constexpr std::size_t kFirstCapacity = 1024;
constexpr const char* kBeginInside = "r.begin <= m_range.begin";
constexpr const char* kEndInside = "r.end >= m_range.end";

thread_local const char* notedAssertion = nullptr;

bool Holds(const Range& outer, std::uint64_t position) noexcept {
    return position >= outer.begin && position <= outer.end;
}

}  // namespace

void Assert(bool condition, const char* text) {
    if (!condition) throw ParseError(text);
}

void NoteUnless(bool condition, const char* text) noexcept {
    if (!condition && notedAssertion == nullptr) notedAssertion = text;
}

const char* TakeNotedAssertion() noexcept {
    return std::exchange(notedAssertion, nullptr);
}

void Stream::RequireInRange(std::uint64_t size) {
    const std::uint64_t position = Tell();
    if (size > std::numeric_limits<std::uint64_t>::max() - position || !Holds(m_range, position + size)) {
        throw ParseError();
    }
}

void Stream::ReadBounded(void* buffer, std::size_t size) {
    RequireInRange(size);
    Read(buffer, size);
}

std::uint64_t Stream::LeftInRange() {
    const std::uint64_t position = Tell();
    return position < m_range.end ? m_range.end - position : 0;
}

void StreamSeekable::SeekBounded(std::uint64_t position) {
    if (!Holds(m_range, position)) throw ParseError();
    Seek(position);
}

void StreamRW::Truncate(std::uint64_t size) {
    SetSize(size);
    m_range = {0, size};
}

StreamMem::StreamMem(std::span<const std::byte> bytes) noexcept
    : data(bytes.empty() ? nullptr : bytes.data()) {
    m_range = {0, bytes.size()};
}

void StreamMem::Read(void* buffer, std::size_t size) {
    if (size == 0) return;
    std::memcpy(buffer, data + pos, size);
    pos += size;
}

void StreamMem::Skip(std::uint64_t size) {
    RequireInRange(size);
    pos += size;
}

void StreamWritableSimple::Write(std::span<const std::byte> bytes) {
    if (bytes.size() > bytes_.max_size() - bytes_.size()) throw OverflowError();
    if (bytes_.capacity() == 0) bytes_.reserve(std::max(bytes.size(), kFirstCapacity));
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

void StreamWritableSimple::Reserve(std::uint64_t bytes) {
    if (bytes > bytes_.max_size()) throw OverflowError();
    // Large buffers come in few sizes: what one leaves in the heap is then enough for the next, which holds
    // the same picture and a few bytes more. Memory that nobody touches costs nothing.
    constexpr std::uint64_t kLarge = 1 << 20;
    if (bytes > kLarge && bytes <= bytes_.max_size() - kLarge) bytes = (bytes + kLarge - 1) / kLarge * kLarge;
    bytes_.reserve(static_cast<std::size_t>(bytes));
}

Range SetRange(Stream& stream, Range range) {
    if (!Holds(stream.m_range, range.begin) || !Holds(stream.m_range, range.end)) throw ParseError();
    return std::exchange(stream.m_range, range);
}

Range NarrowRange(Stream& stream, std::uint64_t size) {
    const std::uint64_t position = stream.Tell();
    const bool measurable =
        size < kUnknownSize && size <= std::numeric_limits<std::uint64_t>::max() - position;
    Assert(measurable, "An element has no size that could be measured");
    try {
        return SetRange(stream, {position, position + size});
    } catch (const ParseError&) {
        // A child that claims more than its parent holds: truncated files stay readable that way.
        return SetRange(stream, {position, stream.m_range.end});
    }
}

void ScopedRange::Narrow(Stream& stream, std::uint64_t size) {
    Assert(m_stream == nullptr, "m_stream == nullptr");
    r = NarrowRange(stream, size);
    m_stream = &stream;
}

void ScopedRange::Restore() {
    Assert(r.begin <= m_stream->m_range.begin, kBeginInside);
    Assert(r.end >= m_stream->m_range.end, kEndInside);
    std::exchange(m_stream, nullptr)->m_range = r;
}

ScopedRange::~ScopedRange() {
    if (m_stream == nullptr) return;
    NoteUnless(r.begin <= m_stream->m_range.begin, kBeginInside);
    NoteUnless(r.end >= m_stream->m_range.end, kEndInside);
    m_stream->m_range = r;
}

}  // namespace EBML
