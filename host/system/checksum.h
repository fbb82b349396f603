// The checksum that FLAC files keep of their samples, computed by the system.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace host::system {

class Md5 {
  public:
    // Throws std::runtime_error where the system refuses it.
    Md5();
    ~Md5();
    Md5(const Md5&) = delete;
    Md5& operator=(const Md5&) = delete;

    void Add(std::span<const std::byte> bytes);

    // 32 hexadecimal digits. Nothing may be added after it.
    std::string Text();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace host::system
