// The items of an APE tag in memory, of which no more is read than somebody looks at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "support/clbuffer.h"
#include "support/clfile.h"

namespace apev2 {

// A large binary value that isn't looked at keeps its place in memory, which costs nothing until it is
// written.
class ItemBytes {
  public:
    // From that place in the file on.
    ItemBytes(clFile& file, std::int64_t start) noexcept : file_(file), start_(start) {}

    // Takes room for the bytes; none of them is read. False when memory is exhausted.
    bool Resize(std::uint32_t count) noexcept { return buffer_.Resize(count); }
    std::span<std::byte> bytes() noexcept { return buffer_.bytes(); }

    // Reads what isn't there yet in front of `end`. False when the file doesn't give it.
    bool Fetch(std::size_t end) noexcept;
    // The same, and some of what follows, so that many small steps are few reads.
    bool FetchAhead(std::size_t end) noexcept;

    enum class Fetched { Whole, WithoutValue, Not };
    // Reads the item that begins at `at`. The bytes of a large binary value stay in the file, but for its
    // first ones with a NUL among them: a picture stands behind a file name.
    Fetched FetchItem(std::size_t at) noexcept;

    std::int64_t PositionOf(const std::byte* byte) const noexcept { return start_ + (byte - buffer_.data()); }

  private:
    clFile& file_;
    std::int64_t start_;
    clBuffer buffer_;
    std::size_t behind_ = 0;  // of what was read or left out
};

}  // namespace apev2
