#include "support/clbuffer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

clBuffer::clBuffer(const clBuffer& other) : readCursor(other.readCursor), writeCursor(other.writeCursor) {
    if (other.data_ != nullptr && !Assign(other.bytes())) throw std::bad_alloc();
}

clBuffer& clBuffer::operator=(const clBuffer& other) {
    if (this != &other) *this = clBuffer(other);
    return *this;
}

clBuffer& clBuffer::operator=(clBuffer&& other) noexcept {
    if (this == &other) return *this;
    readCursor = std::exchange(other.readCursor, 0U);
    writeCursor = std::exchange(other.writeCursor, 0U);
    data_ = std::move(other.data_);
    size_ = std::exchange(other.size_, 0U);
    capacity_ = std::exchange(other.capacity_, 0U);
    return *this;
}

bool clBuffer::Resize(std::uint32_t size, bool clear) noexcept {
    if (capacity_ == 0 || capacity_ < size) {
        const std::uint32_t wanted = std::max<std::uint32_t>(size, 1);
        data_.reset();
        data_.reset(new (std::nothrow) std::byte[wanted]);
        capacity_ = data_ != nullptr ? wanted : 0;
    }
    size_ = data_ != nullptr ? size : 0;
    readCursor = std::min(readCursor, size_);
    writeCursor = std::min(writeCursor, size_);
    if (clear && size_ > 0) std::memset(data_.get(), 0, size_);
    return data_ != nullptr;
}

bool clBuffer::Assign(std::span<const std::byte> bytes) noexcept {
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) return false;
    if (!Resize(static_cast<std::uint32_t>(bytes.size()))) return false;
    if (!bytes.empty()) std::memcpy(data_.get(), bytes.data(), bytes.size());
    return true;
}

void clBuffer::Clear() noexcept {
    *this = clBuffer();
}
