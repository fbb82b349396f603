// Files, as far as the standard library doesn't reach.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>

namespace host::system {

// Whether the file has other names in its file system (hard links). False for what isn't there.
bool HasOtherNames(const std::filesystem::path& path);

// Each null with errno on failure. `OpenNew` refuses a name that is taken.
std::FILE* OpenForReading(const std::filesystem::path& path);
std::FILE* OpenForWriting(const std::filesystem::path& path);
std::FILE* OpenForAppending(const std::filesystem::path& path);
std::FILE* OpenNew(const std::filesystem::path& path);

// Whether this user may. Nothing is opened for it, so that no FIFO waits.
bool MayRead(const std::filesystem::path& path);
bool MayWrite(const std::filesystem::path& path);

// A copy under a name that isn't taken, which shares the blocks of the first one where the file system can.
// Throws std::system_error.
void CopyWhole(const std::filesystem::path& from, const std::filesystem::path& to);

// Mode, owner, access list and extended attributes, as far as this user may give them.
void CopyAttributes(const std::filesystem::path& from, const std::filesystem::path& to) noexcept;

// When a file was read and written last, in the system's own units.
struct FileTimes {
    std::int64_t access;
    std::int64_t write;
};
std::optional<FileTimes> TimesOf(const std::filesystem::path& path) noexcept;
bool SetTimes(const std::filesystem::path& path, FileTimes times) noexcept;

// Waits until the file, or the entries of a folder, are on the disk. Throws std::system_error.
void Sync(const std::filesystem::path& path);

// In place of what is there, in one step. Throws std::system_error.
void Replace(const std::filesystem::path& from, const std::filesystem::path& to);

// A name under which the worker finds the file: mostly its own. Nothing where there is none, as on Windows
// for characters above U+FFFF on a volume without short names.
std::optional<std::filesystem::path> NameForWorker(const std::filesystem::path& path);

}  // namespace host::system
