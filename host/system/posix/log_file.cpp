#include "host/system/log_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace host::system {

namespace {

constexpr mode_t kNewFileMode = 0666;

[[noreturn]] void ThrowErrno(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

LogFile::LogFile() {
    const int descriptor = memfd_create("decoder-host error log", MFD_CLOEXEC);
    if (descriptor >= 0) word_ = static_cast<std::uint64_t>(descriptor);
}

LogFile::LogFile(const std::filesystem::path& path) {
    const int descriptor =
        open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, kNewFileMode);
    if (descriptor < 0) ThrowErrno(path.string());
    word_ = static_cast<std::uint64_t>(descriptor);
}

LogFile::~LogFile() {
    if (word_ != 0) close(static_cast<int>(word_));
}

void LogFile::Append(std::u16string_view text) const {
    if (text.empty()) return;
    // A log that takes no more isn't worth failing for.
    [[maybe_unused]] const ssize_t count =
        write(static_cast<int>(word_), text.data(), text.size() * sizeof(char16_t));
}

std::uint64_t LogFile::Size() const {
    struct stat status {};
    if (word_ == 0) return 0;
    if (fstat(static_cast<int>(word_), &status) != 0 || status.st_size < 0) return 0;
    return static_cast<std::uint64_t>(status.st_size);
}

std::u16string LogFile::TextFrom(std::uint64_t offset) const {
    std::u16string text;
    if (word_ == 0) return text;
    std::array<char16_t, 2048> piece;
    for (;;) {
        const auto position = static_cast<off_t>(offset + text.size() * sizeof(char16_t));
        const ssize_t count = pread(static_cast<int>(word_), piece.data(), sizeof piece, position);
        if (count < static_cast<ssize_t>(sizeof(char16_t))) return text;
        text.append(piece.data(), static_cast<std::size_t>(count) / sizeof(char16_t));
    }
}

}  // namespace host::system
