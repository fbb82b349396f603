#include "support/clfile.h"

#include <algorithm>
#include <memory>
#include <new>
#include <string>

#include "platform/error.h"

namespace {
constexpr std::size_t kBlockBytes = 65536;
}

bool clFile::Open(std::uint32_t access) {
    Close();
    ownsHandle = true;
    const clString full = LongPath(path);
    if (!full.IsEmpty()) handle = platform::OpenExisting(std::u16string(full.View()), access, shareMode);
    return IsOpen();
}

void clFile::Close() noexcept {
    if (IsOpen() && ownsHandle) platform::CloseFile(handle);
    handle = platform::FileHandle::Closed;
}

std::size_t clFile::Read(void* buffer, std::size_t count, bool* failed) noexcept {
    std::size_t read = 0;
    bool broken = !IsOpen();
    if (!broken) {
        read = platform::ReadSome(handle, buffer, count);
        const std::uint32_t code = platform::LastError();
        broken = read < count && code != platform::kErrorNone && code != platform::kErrorHandleEof;
    }
    if (failed != nullptr) *failed = broken;
    return read;
}

bool clFile::Write(const void* buffer, std::size_t count, Where where) noexcept {
    if (buffer == nullptr) return count == 0;
    if (!IsOpen()) return false;
    if (where != Where::Here && !Seek(0, where)) return false;
    return platform::WriteSome(handle, buffer, count) == count;
}

bool clFile::Seek(std::int64_t position, Where origin) noexcept {
    if (!IsOpen()) return false;
    platform::SeekFrom from = platform::SeekFrom::Start;
    if (origin == Where::End) from = platform::SeekFrom::End;
    if (origin == Where::Here) from = platform::SeekFrom::Current;
    return platform::Seek(handle, position, from) >= 0;
}

std::int64_t clFile::Tell() noexcept {
    return IsOpen() ? platform::Seek(handle, 0, platform::SeekFrom::Current) : -1;
}

std::int64_t clFile::Size(bool* failed) noexcept {
    const std::int64_t size = IsOpen() ? platform::FileSize(handle) : -1;
    if (failed != nullptr) *failed = size < 0;
    return std::max<std::int64_t>(size, 0);
}

bool clFile::SetLength(std::int64_t length) noexcept {
    bool failed = false;
    std::int64_t missing = length - Size(&failed);
    if (failed || length < 0) return false;
    if (missing <= 0) return Seek(length, Where::Start) && platform::EndFileHere(handle);
    const std::unique_ptr<char[]> zeros(new (std::nothrow) char[kBlockBytes]());
    if (zeros == nullptr || !Seek(0, Where::End)) return false;
    while (missing > 0) {
        const auto step = static_cast<std::size_t>(std::min<std::int64_t>(missing, kBlockBytes));
        if (!Write(zeros.get(), step, Where::Here)) return false;
        missing -= static_cast<std::int64_t>(step);
    }
    return true;
}

bool clFile::TakeRoom(std::int64_t length) noexcept {
    bool failed = false;
    const std::int64_t size = Size(&failed);
    if (failed) return false;
    if (length <= size) return true;
    const platform::RoomResult asked = platform::TakeRoom(handle, size, length);
    if (asked == platform::RoomResult::Taken) return true;
    if (asked == platform::RoomResult::Unknown && SetLength(length)) return true;
    const std::uint32_t why = platform::LastError();
    SetLength(size);
    platform::SetLastError(why);
    return false;
}

bool clFile::MovePiece(std::int64_t from, std::int64_t to, void* block, std::size_t count) noexcept {
    return Seek(from, Where::Start) && Read(block, count) == count && Seek(to, Where::Start) &&
           Write(block, count, Where::Here);
}

bool clFile::ShiftTail(std::int64_t position, std::int64_t delta) noexcept {
    bool failed = false;
    const std::int64_t size = Size(&failed);
    if (failed) return false;
    if (delta == 0 || position < 0) return true;
    const std::unique_ptr<char[]> block(new (std::nothrow) char[kBlockBytes]);
    if (block == nullptr) return false;
    bool moved = true;
    // Away from the direction of the move, so that no byte is overwritten before it was read.
    const std::int64_t tail = std::max<std::int64_t>(size - position, 0);
    const std::int64_t target = std::max<std::int64_t>(position + delta, 0);
    for (std::int64_t done = 0; done < tail && moved;) {
        const std::int64_t step = std::min<std::int64_t>(tail - done, kBlockBytes);
        const std::int64_t offset = delta > 0 ? tail - done - step : done;
        moved = MovePiece(position + offset, target + offset, block.get(), static_cast<std::size_t>(step));
        done += step;
    }
    const bool resized = SetLength(std::max<std::int64_t>(size + delta, 0));
    return moved && resized;
}

clString clFile::OpenErrorText(const char16_t* path) {
    if (path == nullptr || *path == 0) return u"No file specified!";
    const std::uint32_t code = platform::LastError();
    clString text = clString::Format(u"Error opening file '%s', check no other program has it open.", path);
    if (code != platform::kErrorNone) text.Append(clString::Format(u" (win:%i)", code));
    return text;
}

clString clFile::LongPath(std::u16string_view path) {
    return std::u16string_view(platform::WithoutLengthLimit(std::u16string(path)));
}
