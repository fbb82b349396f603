#include "host/system/files.h"

#include <fcntl.h>
#include <unistd.h>

namespace host::system {

namespace {

constexpr mode_t kNewFileMode = 0666;

std::FILE* OpenStream(const std::filesystem::path& path, int flags, const char* mode) {
    const int descriptor = open(path.c_str(), flags | O_CLOEXEC, kNewFileMode);
    if (descriptor < 0) return nullptr;
    std::FILE* stream = fdopen(descriptor, mode);
    if (stream == nullptr) close(descriptor);
    return stream;
}

}  // namespace

std::FILE* OpenForReading(const std::filesystem::path& path) {
    return OpenStream(path, O_RDONLY, "rb");
}

std::FILE* OpenForWriting(const std::filesystem::path& path) {
    return OpenStream(path, O_WRONLY | O_CREAT | O_TRUNC, "wb");
}

std::FILE* OpenNew(const std::filesystem::path& path) {
    return OpenStream(path, O_WRONLY | O_CREAT | O_EXCL, "wb");
}

}  // namespace host::system
