#include "host/system/files.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <system_error>

namespace host::system {

namespace {

[[noreturn]] void ThrowLastError(const std::filesystem::path& path) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), path.string());
}

// An open file that goes with the object.
class Handle {
  public:
    Handle(const std::filesystem::path& path, DWORD access)
        : handle_(CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                              nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr)) {}
    ~Handle() {
        if (*this) CloseHandle(handle_);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    explicit operator bool() const { return handle_ != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return handle_; }

  private:
    const HANDLE handle_;
};

std::int64_t Ticks(const FILETIME& time) {
    return static_cast<std::int64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

FILETIME FromTicks(std::int64_t ticks) {
    FILETIME time{};
    time.dwLowDateTime = static_cast<DWORD>(ticks);
    time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return time;
}

bool IsSurrogate(wchar_t unit) {
    return unit >= 0xD800 && unit < 0xE000;
}

bool HasSurrogates(const std::wstring& text) {
    return std::any_of(text.begin(), text.end(), IsSurrogate);
}

}  // namespace

bool HasOtherNames(const std::filesystem::path& path) {
    const Handle file(path, 0);
    BY_HANDLE_FILE_INFORMATION about{};
    return file && GetFileInformationByHandle(file.get(), &about) != 0 && about.nNumberOfLinks > 1;
}

std::FILE* OpenForReading(const std::filesystem::path& path) {
    return _wfopen(path.c_str(), L"rbN");
}

std::FILE* OpenForWriting(const std::filesystem::path& path) {
    return _wfopen(path.c_str(), L"wbN");
}

std::FILE* OpenForAppending(const std::filesystem::path& path) {
    return _wfopen(path.c_str(), L"abN");
}

std::FILE* OpenNew(const std::filesystem::path& path) {
    constexpr int kFlags = _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT;
    const int descriptor = _wopen(path.c_str(), kFlags, _S_IREAD | _S_IWRITE);
    if (descriptor < 0) return nullptr;
    std::FILE* stream = _fdopen(descriptor, "wb");
    if (stream == nullptr) _close(descriptor);
    return stream;
}

bool MayRead(const std::filesystem::path& path) {
    return static_cast<bool>(Handle(path, GENERIC_READ));
}

bool MayWrite(const std::filesystem::path& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return false;
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return static_cast<bool>(Handle(path, FILE_ADD_FILE));
    return static_cast<bool>(Handle(path, GENERIC_WRITE));
}

void CopyWhole(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (!CopyFileW(from.c_str(), to.c_str(), TRUE)) ThrowLastError(to);
}

void CopyAttributes(const std::filesystem::path& from, const std::filesystem::path& to) noexcept {
    const DWORD attributes = GetFileAttributesW(from.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) SetFileAttributesW(to.c_str(), attributes);
}

std::optional<FileTimes> TimesOf(const std::filesystem::path& path) noexcept {
    const Handle file(path, FILE_READ_ATTRIBUTES);
    FILETIME access{};
    FILETIME write{};
    if (!file || !GetFileTime(file.get(), nullptr, &access, &write)) return std::nullopt;
    return FileTimes{Ticks(access), Ticks(write)};
}

bool SetTimes(const std::filesystem::path& path, FileTimes times) noexcept {
    const Handle file(path, FILE_WRITE_ATTRIBUTES);
    const FILETIME access = FromTicks(times.access);
    const FILETIME write = FromTicks(times.write);
    return file && SetFileTime(file.get(), nullptr, &access, &write);
}

void Sync(const std::filesystem::path& path) {
    // The entries of a folder are the system's own business.
    if (std::filesystem::is_directory(path)) return;
    const Handle file(path, GENERIC_WRITE);
    if (!file || !FlushFileBuffers(file.get())) ThrowLastError(path);
}

void Replace(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (!MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        ThrowLastError(to);
    }
}

std::optional<std::filesystem::path> NameForWorker(const std::filesystem::path& path) {
    if (!HasSurrogates(path.native())) return path;
    const DWORD size = GetShortPathNameW(path.c_str(), nullptr, 0);
    std::wstring name(size, L'\0');
    const DWORD length = GetShortPathNameW(path.c_str(), name.data(), size);
    name.resize(length);
    if (length == 0 || length >= size || HasSurrogates(name)) return std::nullopt;
    return name;
}

}  // namespace host::system
