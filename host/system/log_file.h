// A log that the plug-in writes to.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace host::system {

// A log file that the plug-in writes to: UTF-16LE, always at the end.
class LogFile {
  public:
    // A nameless one, which goes with the process. No log where the system has no room for one.
    LogFile();
    // Created when absent. Throws std::system_error.
    explicit LogFile(const std::filesystem::path& path);
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // What stands for the file in DecoderCreateInfo.
    std::uint64_t word() const { return word_; }

    // Adds the text in one write.
    void Append(std::u16string_view text) const;

    // In bytes; 0 for what has no size, like a pipe.
    std::uint64_t Size() const;

    // What was written behind the offset; empty when it can't be read back.
    std::u16string TextFrom(std::uint64_t offset) const;

  private:
    std::uint64_t word_ = 0;
};

}  // namespace host::system
