// The streams that only the parser puts over its source: a window, the undoing of unsynchronisation, memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "tags/id3v2/streams.h"

namespace id3parser {

// A window onto the next `length` bytes of another stream. It can be rewound when its source can.
class streamLimited final : public streamIn {
  public:
    streamLimited(streamIn& source, std::uint64_t length)
        : source_(source), remaining_(length), total_(length) {}

    std::uint64_t read(std::byte* buffer, std::uint64_t length) override;
    std::uint64_t skip(std::uint64_t length) override;
    std::uint64_t tell() override { return total_ - remaining_; }
    void seek(std::uint64_t position) override;  // parseError past the window's end
    bool leave(std::uint64_t length, std::int64_t& filePosition) override;

  private:
    streamIn& source_;
    std::uint64_t remaining_;
    std::uint64_t total_;
};

// Drops the zero bytes that unsynchronisation has put behind each 0xFF. A 0xFF that ends the source, or that
// three set bits follow, was never unsynchronised and is a parseError. Can't tell or seek.
class streamFixSync final : public streamIn {
  public:
    explicit streamFixSync(streamIn& source) : source_(source) {}

    std::uint64_t read(std::byte* buffer, std::uint64_t length) override;
    std::uint64_t skip(std::uint64_t length) override;
    std::uint64_t tell() override { throw notSeekableError(); }
    void seek(std::uint64_t) override { throw notSeekableError(); }

  private:
    std::uint64_t undo(std::span<std::byte> bytes);

    streamIn& source_;
    std::byte pendingByte_{};
    bool hasPending_ = false;
};

// Reads bytes that somebody else owns.
class streamInMem final : public streamIn {
  public:
    explicit streamInMem(std::span<const std::byte> data) : data_(data) {}

    std::uint64_t read(std::byte* buffer, std::uint64_t length) override;
    std::uint64_t skip(std::uint64_t length) override;
    std::uint64_t tell() override { return position_; }
    void seek(std::uint64_t position) override;  // parseError past the end

  private:
    std::span<const std::byte> data_;
    std::uint64_t position_ = 0;
};

}  // namespace id3parser
