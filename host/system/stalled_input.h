// An input that begins well and never goes on.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>

namespace host::system {

// A FIFO or named pipe: whoever reads it gets these bytes, and waits for more as long as the object lives.
class StalledInput {
  public:
    // The bytes are at most 60,000. Leaves nothing outside the folder. Throws std::system_error.
    StalledInput(const std::filesystem::path& folder, std::span<const std::byte> bytes);
    ~StalledInput();
    StalledInput(const StalledInput&) = delete;
    StalledInput& operator=(const StalledInput&) = delete;

    const std::filesystem::path& path() const { return path_; }

  private:
    struct End;
    std::filesystem::path path_;
    std::unique_ptr<End> end_;
};

}  // namespace host::system
