#include "platform/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <new>

#include "platform/codepage.h"
#include "platform/error.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/errors.h"

namespace platform {

namespace {

constexpr std::size_t kLargestTransfer = 0x7ffff000;  // what one read or write of Linux moves at most

int Descriptor(FileHandle file) noexcept {
    return static_cast<int>(file);
}

bool HoldsBytesInPlace(int descriptor) noexcept {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && (S_ISREG(status.st_mode) || S_ISBLK(status.st_mode));
}

// Repeats `step(offset, bytes)` until `count` bytes are moved, it gives 0 or it fails.
template <typename Step>
std::size_t Move(std::size_t count, Step step) noexcept {
    std::size_t moved = 0;
    while (moved < count) {
        const ssize_t now = step(moved, std::min(count - moved, kLargestTransfer));
        if (now > 0) {
            moved += static_cast<std::size_t>(now);
        } else if (now == 0) {
            SetLastError(kErrorNone);
            return moved;
        } else if (errno != EINTR) {
            posix::KeepErrno();
            return moved;
        }
    }
    SetLastError(kErrorNone);
    return moved;
}

}  // namespace

FileHandle OpenExisting(const std::u16string& path, std::uint32_t access, std::uint32_t) noexcept {
    const bool read = (access & kAccessRead) != 0;
    const bool write = (access & kAccessWrite) != 0;
    const int mode = read && write ? O_RDWR : write ? O_WRONLY : O_RDONLY;
    try {
        const std::string bytes = NameFromWide(path);
        if (bytes.find('\0') != std::string::npos) {
            SetLastError(kErrorInvalidName);
            return FileHandle::Closed;
        }
        // Without O_NONBLOCK the open of a FIFO would wait for somebody at its other end.
        const int descriptor =
            posix::AboveStandard(open(bytes.c_str(), mode | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
        if (descriptor < 0) {
            posix::KeepErrno();
            return FileHandle::Closed;
        }
        if (!HoldsBytesInPlace(descriptor)) {
            posix::Close(descriptor);
            SetLastError(kErrorAccessDenied);
            return FileHandle::Closed;
        }
        SetLastError(kErrorNone);
        return static_cast<FileHandle>(descriptor);
    } catch (const std::bad_alloc&) {
        SetLastError(kErrorNotEnoughMemory);
        return FileHandle::Closed;
    }
}

void CloseFile(FileHandle file) noexcept {
    posix::Close(Descriptor(file));
}

std::size_t ReadAt(FileHandle file, std::int64_t position, void* buffer, std::size_t count) noexcept {
    return Move(count, [&](std::size_t offset, std::size_t bytes) {
        return pread(Descriptor(file), static_cast<char*>(buffer) + offset, bytes,
                     position + static_cast<std::int64_t>(offset));
    });
}

std::size_t WriteAt(FileHandle file, std::int64_t position, const void* buffer, std::size_t count) noexcept {
    const posix::SizeLimitGuard guard;
    return Move(count, [&](std::size_t offset, std::size_t bytes) {
        return pwrite(Descriptor(file), static_cast<const char*>(buffer) + offset, bytes,
                      position + static_cast<std::int64_t>(offset));
    });
}

std::int64_t FileSize(FileHandle file) noexcept {
    struct stat status {};
    if (fstat(Descriptor(file), &status) != 0) {
        posix::KeepErrno();
        return -1;
    }
    if (S_ISREG(status.st_mode)) return status.st_size;
    // A block device tells its size only by its end.
    const off_t size = lseek(Descriptor(file), 0, SEEK_END);
    if (size < 0) posix::KeepErrno();
    return size;
}

bool SetFileSize(FileHandle file, std::int64_t size) noexcept {
    int result = 0;
    do {
        result = ftruncate(Descriptor(file), size);
    } while (result != 0 && errno == EINTR);
    if (result != 0) posix::KeepErrno();
    return result == 0;
}

RoomResult TakeRoom(FileHandle file, std::int64_t from, std::int64_t to) noexcept {
    const posix::SizeLimitGuard guard;
    int result = 0;
    do {
        result = fallocate(Descriptor(file), 0, from, to - from);
    } while (result != 0 && errno == EINTR);
    if (result == 0) return RoomResult::Taken;
    if (errno == EOPNOTSUPP || errno == ENOSYS || errno == ENODEV) return RoomResult::Unknown;
    posix::KeepErrno();
    return RoomResult::Refused;
}

std::u16string WithoutLengthLimit(const std::u16string& path) {
    return path;
}

void WriteToLog(std::uint64_t log, const void* bytes, std::size_t count) noexcept {
    if (log > INT_MAX) return;
    const posix::SigpipeGuard guard;
    while (write(static_cast<int>(log), bytes, count) < 0 && errno == EINTR) {
    }
}

}  // namespace platform
