// A byte buffer that reuses its memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

// Owns its bytes. Growing doesn't keep the contents. The two cursors belong to whoever uses the buffer; the
// class only keeps them inside the size.
class clBuffer {
  public:
    clBuffer() noexcept = default;
    clBuffer(const clBuffer& other);  // a copy of the bytes; std::bad_alloc when there is no memory for it
    clBuffer& operator=(const clBuffer& other);
    clBuffer& operator=(clBuffer&& other) noexcept;
    ~clBuffer() = default;

    // Sets the size, allocating anew (the contents are lost) only when the capacity is too small. False, with
    // size 0 and no data, when memory is exhausted.
    bool Resize(std::uint32_t size, bool clear = false) noexcept;
    bool Assign(std::span<const std::byte> bytes) noexcept;
    void Clear() noexcept;

    // Valid until the next growing Resize, Assign, Clear or the destruction; null before the first Resize.
    std::byte* data() noexcept { return data_.get(); }
    const std::byte* data() const noexcept { return data_.get(); }
    std::uint32_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    std::span<std::byte> bytes() noexcept { return {data_.get(), size_}; }
    std::span<const std::byte> bytes() const noexcept { return {data_.get(), size_}; }

    std::uint32_t readCursor = 0;
    std::uint32_t writeCursor = 0;

  private:
    std::unique_ptr<std::byte[]> data_;
    std::uint32_t size_ = 0;
    std::uint32_t capacity_ = 0;
};
