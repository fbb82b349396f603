#include "host/system/files.h"

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

namespace host::system {

std::FILE* OpenForReading(const std::filesystem::path& path) {
    return _wfopen(path.c_str(), L"rbN");
}

std::FILE* OpenForWriting(const std::filesystem::path& path) {
    return _wfopen(path.c_str(), L"wbN");
}

std::FILE* OpenNew(const std::filesystem::path& path) {
    constexpr int kFlags = _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT;
    const int descriptor = _wopen(path.c_str(), kFlags, _S_IREAD | _S_IWRITE);
    if (descriptor < 0) return nullptr;
    std::FILE* stream = _fdopen(descriptor, "wb");
    if (stream == nullptr) _close(descriptor);
    return stream;
}

}  // namespace host::system
