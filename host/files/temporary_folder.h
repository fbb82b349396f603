// A place for files that nobody keeps.
#pragma once

#include <filesystem>
#include <string>

namespace host {

// A folder of its own in the system's folder for such files, for this user alone; it goes with the object,
// and with it what is in it.
class TemporaryFolder {
  public:
    // Throws Failure.
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    // The path of a file in it.
    std::string File(const std::string& name) const;

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

}  // namespace host
