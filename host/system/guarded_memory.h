// Memory in which a step too far ends the process.
#pragma once

#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>

namespace host::system {

// A number of bytes in front of a page that nobody may touch, zero at first.
class GuardedMemory {
  public:
    // `room` is what lies between the bytes and that page. Throws std::system_error.
    explicit GuardedMemory(std::size_t size, std::size_t room = 0);
    ~GuardedMemory();
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    std::byte* data() const { return data_; }

    // From now on a write, or every access, ends the process.
    void ForbidWrites();
    void ForbidAll();

  private:
    std::byte* start_;
    std::byte* data_;
    std::size_t accessible_;  // bytes from `start_` on, whole pages
};

// A copy of a text with its end.
class GuardedText {
  public:
    explicit GuardedText(std::u16string_view text, std::size_t room = 0)
        : memory_((text.size() + 1) * sizeof(char16_t), room) {
        std::memcpy(memory_.data(), text.data(), text.size() * sizeof(char16_t));
        memory_.ForbidWrites();
    }
    const char16_t* get() const { return reinterpret_cast<const char16_t*>(memory_.data()); }
    void ForbidAll() { memory_.ForbidAll(); }

  private:
    GuardedMemory memory_;
};

}  // namespace host::system
