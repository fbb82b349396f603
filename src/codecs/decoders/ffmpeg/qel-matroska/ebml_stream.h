// Streams with a legal range, over memory and, further down the tree, over a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_error.h"

namespace EBML {

using Bytes = std::vector<std::byte>;

// Element sizes from here on mean that the size isn't known.
inline constexpr std::uint64_t kUnknownSize = 0xFFFFFFFFFFFFFF;
inline constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};

// A read may end at any position p with begin <= p <= end. All bits set in `end` is no limit.
struct Range {
    std::uint64_t begin = 0;
    std::uint64_t end = kNoLimit;
};

class Stream {
  public:
    virtual ~Stream() = default;

    // All bytes or a ParseError. Callers have tested the range, or do so through ReadBounded.
    virtual void Read(void* buffer, std::size_t size) = 0;
    virtual void Skip(std::uint64_t size) = 0;
    virtual std::uint64_t Tell() = 0;

    // Raises unless the next `size` bytes end inside the range. Where they start isn't looked at.
    void RequireInRange(std::uint64_t size);
    void ReadBounded(void* buffer, std::size_t size);
    // Bytes up to the end of the range; 0 behind it.
    std::uint64_t LeftInRange();

    Range m_range;
};

class StreamSeekable : public Stream {
  public:
    virtual void Seek(std::uint64_t position) = 0;  // absolute

    // Raises when the position lies outside the range.
    void SeekBounded(std::uint64_t position);
};

class StreamWritable {
  public:
    virtual ~StreamWritable() = default;
    virtual void Write(std::span<const std::byte> bytes) = 0;
};

// Two ways to write: the one of StreamWritable raises the end of the range to where the write ended, so that
// what was appended can be read; the other one leaves the range alone.
class StreamRW : public StreamSeekable, public StreamWritable {
  public:
    using StreamWritable::Write;
    virtual void Write(const void* data, std::size_t size) = 0;
    virtual void SetSize(std::uint64_t size) = 0;
    virtual std::uint64_t GetSize() = 0;
    // Lengthens the file to `size` with room that can't be refused any more. False with the length unchanged.
    virtual bool TakeRoom(std::uint64_t size) = 0;

    // Ends the file and the range there.
    void Truncate(std::uint64_t size);
};

// A block of memory that somebody else owns.
class StreamMem : public Stream {
  public:
    explicit StreamMem(std::span<const std::byte> bytes) noexcept;

    void Read(void* buffer, std::size_t size) override;  // tests no range of its own
    void Skip(std::uint64_t size) override;
    std::uint64_t Tell() override { return pos; }

  private:
    const std::byte* data;
    std::uint64_t pos = 0;
};

// Collects in memory what is written.
class StreamWritableSimple : public StreamWritable {
  public:
    void Write(std::span<const std::byte> bytes) override;

    // Memory for so many bytes, for who knows how many come: a picture would else be copied while it grows.
    void Reserve(std::uint64_t bytes);
    std::uint64_t Size() const noexcept { return bytes_.size(); }
    bool Empty() const noexcept { return bytes_.empty(); }
    // Valid until the next write.
    std::span<const std::byte> View() const noexcept { return bytes_; }
    void Clear() noexcept { bytes_.clear(); }
    Bytes Take() noexcept { return std::exchange(bytes_, {}); }

  private:
    Bytes bytes_;
};

// Both set the range and return the one before. SetRange raises when the new range isn't inside the present
// one; NarrowRange goes from the present position over `size` bytes and is cut to the present end.
Range SetRange(Stream& stream, Range range);
Range NarrowRange(Stream& stream, std::uint64_t size);

// Narrows the range for a scope.
class ScopedRange {
  public:
    ScopedRange() noexcept = default;
    ScopedRange(Stream& stream, std::uint64_t size) { Narrow(stream, size); }
    ScopedRange(const ScopedRange&) = delete;
    ScopedRange& operator=(const ScopedRange&) = delete;
    ~ScopedRange();

    void Narrow(Stream& stream, std::uint64_t size);
    // What the destructor does, but a broken range raises.
    void Restore();

  private:
    Stream* m_stream = nullptr;  // null when idle
    Range r;
};

}  // namespace EBML
