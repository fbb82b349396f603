// Byte streams, abstract and over a pipe.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/event.h"
#include "platform/pipe.h"

namespace Qel {

// One thread at a time. `read` gives what there is, the exact operations all or invalid_input.
class streamIn {
  public:
    virtual ~streamIn() = default;

    // The bytes read, fewer than `count` only at the end of the stream.
    virtual std::size_t read(void* buffer, std::size_t count) = 0;
    virtual void readExact(void* buffer, std::size_t count);

    // Reads over the bytes; how many there were.
    virtual std::uint64_t skip(std::uint64_t count);
    virtual void skipExact(std::uint64_t count);

    // For sources that prepare a transfer ahead of taking it; others read in one go.
    virtual std::size_t readWhenReady(void* buffer, std::size_t count);
    virtual std::size_t readNow(void* buffer, std::size_t count);
    virtual std::uint64_t skipNow(std::uint64_t count);
    virtual void prepareRead(void* buffer, std::size_t count);
    virtual bool ready();
};

class streamOut {
  public:
    virtual ~streamOut() = default;

    // All bytes or an exception.
    virtual void write(const void* buffer, std::size_t count) = 0;
    virtual std::size_t writeCounted(const void* buffer, std::size_t count);
    virtual void prepareWrite();
    virtual bool ready();
};

// The parent's end of a pipe and the signal of its transfers. Both are opened and closed by the owner.
struct _streamOverlappedBase {
    double timeoutSeconds = 0;  // of one piece of a transfer; 0 or less is no limit
    platform::PipeHandle handle = platform::PipeHandle::None;
    platform::EventHandle event = platform::EventHandle::None;
};

// Every wait ends with user_abort when the thread's aborter is set, and with network_error_timeout after the
// time limit; no transfer is under way any more then. The buffer is filled directly.
class streamInOverlapped : public streamIn, public _streamOverlappedBase {
  public:
    std::size_t read(void* buffer, std::size_t count) override;

    // At least one byte and at most `count`, as many as are there; 0 at the end of the stream.
    std::size_t readSome(void* buffer, std::size_t count);
};

class streamOutOverlapped : public streamOut, public _streamOverlappedBase {
  public:
    void write(const void* buffer, std::size_t count) override;
};

// Hands out, in pieces as small as one byte, what one transfer fetched from the source. It never waits for
// more than was asked for, but it takes what is there: the source has no other reader.
class streamInFetched : public streamIn {
  public:
    explicit streamInFetched(streamInOverlapped& source) noexcept : source_(source) {}

    std::size_t read(void* buffer, std::size_t count) override;

  private:
    streamInOverlapped& source_;
    std::array<char, 4096> window_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

// Repeats a random-access source's own read for the missing bytes until all have come or it gives 0. A set
// aborter raises user_abort before each try. `source` is called as source(buffer, count).
template <typename Source>
std::size_t ReadUntilDone(Source&& source, void* buffer, std::size_t count);

}  // namespace Qel

#include "transport/waitable.h"

template <typename Source>
std::size_t Qel::ReadUntilDone(Source&& source, void* buffer, std::size_t count) {
    std::size_t total = 0;
    while (total < count) {
        CheckAbort();
        const std::size_t now = source(static_cast<char*>(buffer) + total, count - total);
        if (now == 0) break;
        total += now;
    }
    return total;
}
