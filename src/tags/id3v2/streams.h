// The byte streams on which the ID3v2 parser and writer work, and the exceptions of both.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace id3parser {

class parseError : public std::runtime_error {
  public:
    parseError() : std::runtime_error("ID3v2 parse error") {}
};

class writeError : public std::runtime_error {
  public:
    writeError() : std::runtime_error("ID3v2 write error") {}
};

class notSeekableError : public std::runtime_error {
  public:
    notSeekableError() : std::runtime_error("Not seekable") {}
};

// A source of bytes. Streams are chained on the stack of one call, each over another that outlives it; none
// owns the one below. A short count from read and skip is the end of the stream.
class streamIn {
  public:
    virtual std::uint64_t read(std::byte* buffer, std::uint64_t length) = 0;
    virtual std::uint64_t skip(std::uint64_t length) = 0;

    // As above, but a short count raises parseError.
    virtual std::uint64_t readExact(std::byte* buffer, std::uint64_t length);
    virtual std::uint64_t skipExact(std::uint64_t length);

    // Positions count from the start of this stream.
    virtual std::uint64_t tell() = 0;
    virtual void seek(std::uint64_t position) = 0;

    // Steps over bytes that stand in a file just as this stream would give them, and tells where. False, with
    // nothing done, when they don't, or are at hand already.
    virtual bool leave(std::uint64_t /*length*/, std::int64_t& /*filePosition*/) { return false; }

  protected:
    ~streamIn() = default;
};

// A sink of bytes; a failure is an exception.
class streamOut {
  public:
    virtual void write(const std::byte* buffer, std::uint64_t length) = 0;

  protected:
    ~streamOut() = default;
};

// Reads ahead into memory that its owner lends it, so that single bytes don't reach the source. What is
// larger than half of that goes past it.
class streamInCache final : public streamIn {
  public:
    streamInCache(streamIn& source, std::span<std::byte> room) noexcept : source_(source), room_(room) {}

    std::uint64_t read(std::byte* buffer, std::uint64_t length) override;  // a null buffer skips
    std::uint64_t skip(std::uint64_t length) override { return read(nullptr, length); }
    std::uint64_t tell() override { return source_.tell() - (filled_ - cursor_); }
    void seek(std::uint64_t position) override;
    bool leave(std::uint64_t length, std::int64_t& filePosition) override;

    // Whether these bytes come next. To be asked first of all: it reads a small block, so that a source that
    // begins otherwise isn't read any further.
    bool beginsWith(std::string_view bytes);

  private:
    streamIn& source_;
    std::span<std::byte> room_;
    std::uint64_t filled_ = 0;
    std::uint64_t cursor_ = 0;
};

// Collects bytes in memory.
class streamOutBuffer final : public streamOut {
  public:
    void write(const std::byte* buffer, std::uint64_t length) override;

    std::vector<std::byte> bytes;
};

}  // namespace id3parser
