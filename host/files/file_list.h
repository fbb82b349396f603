// Which files a command is to work on.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace host {

struct InputFile {
    std::string name;            // path, URL or "-", as the user wrote it or as it was found
    std::filesystem::path tree;  // its place below a folder that keeps the tree of what was given
};

struct Selection {
    std::vector<std::string> files;
    std::string list;  // a file with a name in each line, or with a NUL behind each; "-" is standard input
    bool recursive = false;
};

// A name that begins with a protocol and isn't that of a file.
bool IsUrl(const std::string& name);

// Folders give the files in them for which `isWanted` holds, by name. Throws Failure when the list can't be
// read, and UsageFailure when nothing at all was named.
std::vector<InputFile> ListFiles(const Selection& selection,
                                 const std::function<bool(const std::filesystem::path&)>& isWanted);

// One of several parts of a work. A file belongs to a part by its place in the tree alone, and so to the same
// one on every machine, whatever else lies there.
class Shard {
  public:
    // "I/N", with I from 1; empty text is the whole. Throws UsageFailure.
    explicit Shard(const std::string& text);
    bool Holds(const InputFile& file) const;

  private:
    unsigned number_ = 1;
    unsigned count_ = 1;
};

}  // namespace host
