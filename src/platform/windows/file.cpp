#include "platform/file.h"

#include "platform/error.h"
#include "platform/windows/handles.h"

namespace platform {

namespace {

using windows::Native;

constexpr std::size_t kLargestTransfer = 0x40000000;
constexpr DWORD kAllOnes = 0xFFFFFFFF;     // in a low half: perhaps a failure
constexpr std::size_t kLengthLimit = 260;  // MAX_PATH without its terminator's place
constexpr std::u16string_view kNoLimit = u"\\\\?\\";

static_assert(kAccessRead == GENERIC_READ && kAccessWrite == GENERIC_WRITE);
static_assert(kShareRead == FILE_SHARE_READ && kShareWrite == FILE_SHARE_WRITE);

std::int64_t Joined(DWORD low, LONG high) noexcept {
    return (static_cast<std::int64_t>(high) << 32) | low;
}

// Where a transfer on a handle that waits for it takes place.
OVERLAPPED PlaceAt(std::int64_t position, std::size_t offset) noexcept {
    const std::uint64_t place = static_cast<std::uint64_t>(position) + offset;
    OVERLAPPED result{};
    result.Offset = static_cast<DWORD>(place & kAllOnes);
    result.OffsetHigh = static_cast<DWORD>(place >> 32);
    return result;
}

// Repeats `step(offset, bytes, moved)` until `count` bytes are moved, it moves nothing or it fails.
template <typename Step>
std::size_t Move(std::size_t count, Step step) noexcept {
    std::size_t total = 0;
    // What is left in the last error afterwards has to come from this transfer.
    ::SetLastError(ERROR_SUCCESS);
    while (total < count) {
        DWORD moved = 0;
        const auto piece = static_cast<DWORD>(std::min(count - total, kLargestTransfer));
        const bool done = step(total, piece, &moved) != 0;
        total += moved;
        if (!done || moved == 0) break;
    }
    return total;
}

}  // namespace

FileHandle OpenExisting(const std::u16string& path, std::uint32_t access, std::uint32_t share) noexcept {
    if (path.find(u'\0') != std::u16string::npos) {
        ::SetLastError(ERROR_INVALID_NAME);
        return FileHandle::Closed;
    }
    windows::OwnedHandle file(CreateFileW(windows::Wide(path), access, share, nullptr, OPEN_EXISTING,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.IsValid()) return FileHandle::Closed;
    // Reading from a pipe or a console would wait for whoever is at the other end.
    if (GetFileType(file.get()) == FILE_TYPE_DISK) {
        ::SetLastError(ERROR_SUCCESS);
        return windows::Wrapped<FileHandle>(file.Release());
    }
    CloseHandle(file.Release());
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FileHandle::Closed;
}

void CloseFile(FileHandle file) noexcept {
    CloseHandle(Native(file));
}

std::size_t ReadAt(FileHandle file, std::int64_t position, void* buffer, std::size_t count) noexcept {
    return Move(count, [&](std::size_t offset, DWORD bytes, DWORD* moved) {
        OVERLAPPED place = PlaceAt(position, offset);
        return ReadFile(Native(file), static_cast<char*>(buffer) + offset, bytes, moved, &place);
    });
}

std::size_t WriteAt(FileHandle file, std::int64_t position, const void* buffer, std::size_t count) noexcept {
    return Move(count, [&](std::size_t offset, DWORD bytes, DWORD* moved) {
        OVERLAPPED place = PlaceAt(position, offset);
        return WriteFile(Native(file), static_cast<const char*>(buffer) + offset, bytes, moved, &place);
    });
}

std::int64_t FileSize(FileHandle file) noexcept {
    DWORD high = 0;
    ::SetLastError(ERROR_SUCCESS);
    const DWORD low = GetFileSize(Native(file), &high);
    if (low == kAllOnes && ::GetLastError() != ERROR_SUCCESS) return -1;
    return Joined(low, static_cast<LONG>(high));
}

bool SetFileSize(FileHandle file, std::int64_t size) noexcept {
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = size;
    return SetFileInformationByHandle(Native(file), FileEndOfFileInfo, &end, sizeof end) != 0;
}

RoomResult TakeRoom(FileHandle file, std::int64_t, std::int64_t to) noexcept {
    // Setting the end gives the clusters, sparse and compressed files excepted.
    return SetFileSize(file, to) ? RoomResult::Taken : RoomResult::Refused;
}

std::u16string WithoutLengthLimit(const std::u16string& path) {
    if (path.size() < kLengthLimit || path.starts_with(u"\\\\")) return path;
    return std::u16string(kNoLimit) + path;
}

void WriteToLog(std::uint64_t log, const void* bytes, std::size_t count) noexcept {
    const DWORD before = ::GetLastError();
    DWORD written = 0;
    WriteFile(reinterpret_cast<HANDLE>(log), bytes, static_cast<DWORD>(std::min(count, kLargestTransfer)),
              &written, nullptr);
    ::SetLastError(before);
}

}  // namespace platform
