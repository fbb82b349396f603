// A byte stream over an input of the fuzzer.
#pragma once

#include <algorithm>
#include <cstring>
#include <span>

#include "transport/streams.h"

class MemoryStream : public Qel::streamIn {
  public:
    explicit MemoryStream(std::span<const std::byte> bytes) noexcept : bytes_(bytes) {}

    std::size_t read(void* buffer, std::size_t count) override {
        const std::size_t now = std::min(count, bytes_.size() - position_);
        if (now > 0) std::memcpy(buffer, bytes_.data() + position_, now);
        position_ += now;
        return now;
    }

    std::size_t position() const noexcept { return position_; }

  private:
    std::span<const std::byte> bytes_;
    std::size_t position_ = 0;
};
