// A quit event that other processes set.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace host::system {

// Decoders take it under its name. `decoder_plugin::QuitEvent` is known to one process alone.
class SharedEvent {
  public:
    // Leaves nothing outside the folder. Throws std::system_error.
    explicit SharedEvent(const std::filesystem::path& folder);
    ~SharedEvent();
    SharedEvent(const SharedEvent&) = delete;
    SharedEvent& operator=(const SharedEvent&) = delete;

    const std::u16string& name() const { return name_; }
    void Set() const { SetByName(name_); }
    void Reset() const;

    // From any process. False when there is no such event.
    static bool SetByName(const std::u16string& name);

  private:
    std::u16string name_;
    std::intptr_t handle_;
};

}  // namespace host::system
