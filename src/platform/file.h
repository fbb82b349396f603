// One file at a time, by handle, with 64-bit positions, and the host's log files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace platform {

// A value, not an owner. All ones is a closed file.
enum class FileHandle : std::intptr_t { Closed = -1 };

inline constexpr std::uint32_t kAccessRead = 0x80000000U;
inline constexpr std::uint32_t kAccessWrite = 0x40000000U;
inline constexpr std::uint32_t kShareRead = 1;
inline constexpr std::uint32_t kShareWrite = 2;

// Opens an existing file. A directory, FIFO or socket is refused at once. Closed on failure, with LastError.
FileHandle OpenExisting(const std::u16string& path, std::uint32_t access, std::uint32_t share) noexcept;
void CloseFile(FileHandle file) noexcept;

// Bytes moved from byte `position` on, which isn't negative, up to `count`; fewer with LastError 0 or
// kErrorHandleEof at the end of the file, else with what went wrong.
std::size_t ReadAt(FileHandle file, std::int64_t position, void* buffer, std::size_t count) noexcept;
std::size_t WriteAt(FileHandle file, std::int64_t position, const void* buffer, std::size_t count) noexcept;

// Bytes, or -1 with LastError.
std::int64_t FileSize(FileHandle file) noexcept;

// Cuts or extends the file.
bool SetFileSize(FileHandle file, std::int64_t size) noexcept;

enum class RoomResult { Taken, Refused, Unknown };

// Has the file system give all the blocks from byte `from` to byte `to`, the file's new end. Refused with
// LastError when it has none left or the user's limits forbid it; the file may then be longer than it was.
// Unknown where the file system can't be asked: only written bytes take room there.
RoomResult TakeRoom(FileHandle file, std::int64_t from, std::int64_t to) noexcept;

// The path in the form that lifts the system's limit on its length, where there is such a limit.
std::u16string WithoutLengthLimit(const std::u16string& path);

// Writes the bytes in one call to a log word of the host's. Failure is ignored and leaves no trace: no
// signal, no LastError.
void WriteToLog(std::uint64_t log, const void* bytes, std::size_t count) noexcept;

}  // namespace platform
