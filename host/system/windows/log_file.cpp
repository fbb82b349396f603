#include "host/system/log_file.h"

#include <windows.h>

#include <array>
#include <system_error>

namespace host::system {

namespace {

[[noreturn]] void ThrowLastError(const char* what) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

HANDLE AsHandle(std::uint64_t word) {
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(word));
}

std::uint64_t AsWord(HANDLE handle) {
    return reinterpret_cast<std::uintptr_t>(handle);
}

}  // namespace

LogFile::LogFile() {
    std::array<wchar_t, MAX_PATH + 1> folder{};
    std::array<wchar_t, MAX_PATH + 1> path{};
    if (GetTempPathW(static_cast<DWORD>(folder.size()), folder.data()) == 0 ||
        GetTempFileNameW(folder.data(), L"dec", 0, path.data()) == 0) {
        return;
    }
    const HANDLE handle =
        CreateFileW(path.data(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (handle != INVALID_HANDLE_VALUE) word_ = AsWord(handle);
}

LogFile::LogFile(const std::filesystem::path& path) {
    // Append access without plain write access puts every write at the end.
    const HANDLE handle =
        CreateFileW(path.c_str(), FILE_APPEND_DATA | FILE_READ_DATA | SYNCHRONIZE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) ThrowLastError("can't open a log");
    word_ = AsWord(handle);
}

LogFile::~LogFile() {
    CloseHandle(AsHandle(word_));
}

void LogFile::Append(std::u16string_view text) const {
    if (text.empty()) return;
    // A log that takes no more isn't worth failing for.
    DWORD count = 0;
    WriteFile(AsHandle(word_), text.data(), static_cast<DWORD>(text.size() * sizeof(char16_t)), &count,
              nullptr);
}

std::uint64_t LogFile::Size() const {
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(AsHandle(word_), &size) || size.QuadPart < 0) return 0;
    return static_cast<std::uint64_t>(size.QuadPart);
}

std::u16string LogFile::TextFrom(std::uint64_t offset) const {
    std::u16string text;
    std::array<char16_t, 2048> piece;
    for (;;) {
        const std::uint64_t position = offset + text.size() * sizeof(char16_t);
        OVERLAPPED place{};
        place.Offset = static_cast<DWORD>(position);
        place.OffsetHigh = static_cast<DWORD>(position >> 32);
        DWORD count = 0;
        if (!ReadFile(AsHandle(word_), piece.data(), sizeof piece, &count, &place)) return text;
        if (count < sizeof(char16_t)) return text;
        text.append(piece.data(), count / sizeof(char16_t));
    }
}

}  // namespace host::system
