// Folders and files of a test.
#pragma once

#include <filesystem>
#include <string>

namespace kit {

// A folder that goes with the object.
class TempFolder {
  public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::filesystem::path& name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

// Removes what earlier tests couldn't: folders of theirs in which only files of this name are left.
void RemoveFoldersWithNothingBut(const std::filesystem::path& name);

std::string ReadFile(const std::filesystem::path& path);
void WriteFile(const std::filesystem::path& path, const std::string& bytes);

}  // namespace kit
