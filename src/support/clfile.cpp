#include "support/clfile.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <string>

#include "platform/error.h"

namespace {
constexpr std::int64_t kBlockBytes = 65536;

// A row of bytes on its way through a file, to a place that may overlap the old one. `block` holds
// kBlockBytes.
class TailMove {
  public:
    TailMove(clFile& file, std::int64_t from, std::int64_t to, std::int64_t count, char* block) noexcept
        : file_(file), from_(from), to_(to), count_(count), block_(block) {}

    bool Forth() noexcept {
        while (moved_ < count_) {
            const std::int64_t step = std::min(count_ - moved_, kBlockBytes);
            const std::int64_t offset = OffsetOf(step);
            if (!MovePiece(from_ + offset, to_ + offset, step)) return false;
            moved_ += step;
        }
        return true;
    }

    // Undoes what Forth could do, from its last piece on. False when the disk doesn't allow it; every byte is
    // in the file even then, some in the new place and some in the old one.
    bool Back() noexcept {
        while (moved_ > 0) {
            if (lost_) return false;
            const std::int64_t last = moved_ % kBlockBytes;
            const std::int64_t step = last == 0 ? kBlockBytes : last;
            moved_ -= step;
            const std::int64_t offset = OffsetOf(step);
            if (!MovePiece(to_ + offset, from_ + offset, step)) return false;
        }
        return true;
    }

  private:
    // Of the piece behind those that were moved. They go away from the direction of the move, so that no byte
    // is overwritten before it was read.
    std::int64_t OffsetOf(std::int64_t step) const noexcept {
        return to_ > from_ ? count_ - moved_ - step : moved_;
    }

    // A write that fails halfway may have overwritten the place that the piece comes from.
    bool MovePiece(std::int64_t source, std::int64_t target, std::int64_t step) noexcept {
        const auto count = static_cast<std::size_t>(step);
        if (file_.ReadAt(source, block_, count) != count) return false;
        if (file_.WriteAt(target, block_, count)) return true;
        lost_ = !file_.WriteAt(source, block_, count);
        return false;
    }

    clFile& file_;
    std::int64_t from_;
    std::int64_t to_;
    std::int64_t count_;
    char* block_;
    std::int64_t moved_ = 0;
    bool lost_ = false;  // of a piece that couldn't be moved nobody knows how much is in its place
};

thread_local clFileTrouble* watch = nullptr;

// A failed step, just after it failed.
void Note(clFileTrouble::Step step) noexcept {
    if (watch == nullptr || watch->step != clFileTrouble::Step::None) return;
    watch->step = step;
    watch->code = platform::LastError();
}

}  // namespace

clFileTrouble::clFileTrouble() noexcept {
    watch = this;
}

clFileTrouble::~clFileTrouble() {
    watch = nullptr;
}

bool clFile::Open(std::uint32_t access) {
    Close();
    ownsHandle = true;
    position_ = 0;
    const clString full = LongPath(path);
    if (!full.IsEmpty()) handle = platform::OpenExisting(std::u16string(full.View()), access, shareMode);
    if (!IsOpen()) Note(clFileTrouble::Step::Open);
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
        read = platform::ReadAt(handle, position_, buffer, count);
        position_ += static_cast<std::int64_t>(read);
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
    const std::size_t written = platform::WriteAt(handle, position_, buffer, count);
    position_ += static_cast<std::int64_t>(written);
    if (written != count) Note(clFileTrouble::Step::Write);
    return written == count;
}

std::size_t clFile::ReadAt(std::int64_t position, void* buffer, std::size_t count, bool* failed) noexcept {
    if (Seek(position, Where::Start)) return Read(buffer, count, failed);
    if (failed != nullptr) *failed = true;
    return 0;
}

bool clFile::WriteAt(std::int64_t position, const void* buffer, std::size_t count) noexcept {
    return Seek(position, Where::Start) && Write(buffer, count, Where::Here);
}

bool clFile::Seek(std::int64_t position, Where origin) noexcept {
    if (!IsOpen()) return false;
    bool failed = false;
    const std::int64_t from = origin == Where::End ? Size(&failed) : origin == Where::Here ? position_ : 0;
    if (failed) return false;
    if (position < -from || position > std::numeric_limits<std::int64_t>::max() - from) {
        platform::SetLastError(platform::kErrorInvalidParameter);
        return false;
    }
    position_ = from + position;
    return true;
}

std::int64_t clFile::Tell() const noexcept {
    return IsOpen() ? position_ : -1;
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
    if (missing <= 0) return Seek(length, Where::Start) && platform::SetFileSize(handle, length);
    const std::unique_ptr<char[]> zeros(new (std::nothrow) char[std::size_t{kBlockBytes}]());
    if (zeros == nullptr || !Seek(0, Where::End)) return false;
    while (missing > 0) {
        const auto step = static_cast<std::size_t>(std::min(missing, kBlockBytes));
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
    Note(clFileTrouble::Step::Write);
    const std::uint32_t why = platform::LastError();
    SetLength(size);
    platform::SetLastError(why);
    return false;
}

bool clFile::ShiftTail(std::int64_t position, std::int64_t delta, bool* torn) noexcept {
    if (torn != nullptr) *torn = false;
    bool failed = false;
    const std::int64_t size = Size(&failed);
    if (failed) return false;
    if (delta == 0 || position < 0) return true;
    const std::unique_ptr<char[]> block(new (std::nothrow) char[kBlockBytes]);
    if (block == nullptr) return false;
    const std::int64_t length = std::max<std::int64_t>(size + delta, 0);
    if (delta > 0 && !TakeRoom(length)) return false;

    const std::int64_t target = std::max<std::int64_t>(position + delta, 0);
    TailMove tail(*this, position, target, std::max<std::int64_t>(size - position, 0), block.get());
    if (tail.Forth() && (delta > 0 || SetLength(length))) return true;
    const std::uint32_t why = platform::LastError();
    const bool back = tail.Back();
    if (back) SetLength(size);
    if (torn != nullptr) *torn = !back;
    platform::SetLastError(why);
    return false;
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
