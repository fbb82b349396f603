// Where samples and pictures go. A file gets its name only when it is whole.
#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <span>
#include <string>

namespace host {

// Standard output, something that is there and isn't a regular file (a device, a FIFO), or a file that is
// written under a passing name beside its own, and removed unless `Finish` was reached. One that takes the
// place of another has its mode, owner and attributes. All operations throw Failure.
class OutputFile {
  public:
    enum class Existing { Refuse, Replace };

    // "-" is standard output.
    OutputFile(const std::string& target, Existing existing);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Whether `Rewrite` can be had: the output is a file that gets its name at the end.
    bool isFile() const { return !passing_.empty(); }

    void Write(std::span<const std::byte> bytes);

    // Over the bytes at the beginning; nothing may be written after it.
    void Rewrite(std::span<const std::byte> bytes);

    // Everything is written and on its way to the disk, and the file has its name.
    void Finish();

  private:
    [[noreturn]] void Fail(int code) const;
    void OpenPassing();

    std::string shown_;
    std::filesystem::path target_;
    std::filesystem::path passing_;
    bool replaces_ = false;
    std::FILE* stream_ = nullptr;
};

}  // namespace host
