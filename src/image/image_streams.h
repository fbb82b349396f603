// Streams over a picture, and views of them that limit or extend what is read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "transport/streams.h"

// A picture's bytes.
class ImageSource : public Qel::streamIn {
  public:
    virtual bool seekable() = 0;
    // From the beginning; raises Qel::invalid_input beyond the size. Only for sources that are seekable.
    virtual void seek(std::uint64_t position) = 0;
};

// A block of memory that somebody else owns.
class MemorySource final : public ImageSource {
  public:
    explicit MemorySource(std::span<const std::byte> bytes) noexcept : bytes_(bytes) {}

    std::size_t read(void* buffer, std::size_t count) override;
    std::uint64_t skip(std::uint64_t count) override;
    bool seekable() override { return true; }
    void seek(std::uint64_t position) override;

  private:
    std::span<const std::byte> bytes_;
    std::size_t position_ = 0;
};

// Gives back bytes that were read already, then reads on in the stream underneath.
class PrefixReader final : public Qel::streamIn {
  public:
    PrefixReader(std::span<const std::byte> prefix, Qel::streamIn& stream) noexcept
        : prefix_(prefix), stream_(stream) {}

    std::size_t read(void* buffer, std::size_t count) override;
    std::uint64_t skip(std::uint64_t count) override;

  private:
    std::size_t TakePrefix(void* buffer, std::size_t count) noexcept;

    std::span<const std::byte> prefix_;
    Qel::streamIn& stream_;
};

// Lets no more than a budget of bytes through. Exact reads and skips of more raise Qel::invalid_input, plain
// ones are cut.
class BoundedReader final : public Qel::streamIn {
  public:
    BoundedReader(std::uint64_t budget, Qel::streamIn& stream) noexcept : budget_(budget), stream_(stream) {}

    std::size_t read(void* buffer, std::size_t count) override;
    void readExact(void* buffer, std::size_t count) override;
    std::uint64_t skip(std::uint64_t count) override;
    void skipExact(std::uint64_t count) override;

    std::uint64_t budget() const noexcept { return budget_; }

    // Narrows the budget to a child of that many bytes, which raises when they aren't there, and returns what
    // the parent has behind the child. Leave skips the rest of the child and goes on with that.
    std::uint64_t Enter(std::uint64_t childBytes);
    void Leave(std::uint64_t behindChild);

  private:
    std::uint64_t budget_;
    Qel::streamIn& stream_;
};

// Numbers of a stream, all exact.
std::uint8_t ReadByte(Qel::streamIn& stream);
std::uint16_t ReadLittle16(Qel::streamIn& stream);
std::uint32_t ReadLittle32(Qel::streamIn& stream);
std::uint16_t ReadBig16(Qel::streamIn& stream);
std::uint32_t ReadBig32(Qel::streamIn& stream);
std::uint64_t ReadBig64(Qel::streamIn& stream);
