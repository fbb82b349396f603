// One file handle with 64-bit positions, and the moving of a file's tail.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/file.h"
#include "support/clstring.h"

// What first went wrong with any file in this thread while this lives: an engine that repairs what a failed
// write left makes the thread's last error tell of the repair. Watches don't nest.
class clFileTrouble {
  public:
    enum class Step { None, Open, Write };

    clFileTrouble() noexcept;
    clFileTrouble(const clFileTrouble&) = delete;
    clFileTrouble& operator=(const clFileTrouble&) = delete;
    ~clFileTrouble();

    Step step = Step::None;
    std::uint32_t code = 0;  // the number of platform/error.h
};

// Several objects may share one handle, of which only one owns it; each has a position of its own. Results
// and flags tell of failures, and the thread's last error, left for OpenErrorText, tells why. Nothing is
// raised but std::bad_alloc, by paths.
class clFile {
  public:
    static constexpr std::uint32_t kRead = platform::kAccessRead;
    static constexpr std::uint32_t kWrite = platform::kAccessWrite;
    static constexpr std::uint32_t kShareReadWrite = platform::kShareRead | platform::kShareWrite;

    enum class Where { Start, End, Here };

    clFile() noexcept = default;
    explicit clFile(std::u16string_view filePath) : path(filePath) {}
    // Works on a handle that another object owns.
    explicit clFile(platform::FileHandle shared) noexcept : handle(shared) {}
    clFile(const clFile&) = delete;
    clFile& operator=(const clFile&) = delete;
    ~clFile() { Close(); }

    // Opens `path`, which must exist, with kRead, kWrite or both.
    bool Open(std::uint32_t access);
    void Close() noexcept;  // leaves a handle alone that isn't owned
    bool IsOpen() const noexcept { return handle != platform::FileHandle::Closed; }

    // The bytes read; fewer than `count` at the end of the file, or with `failed` set after a true error.
    std::size_t Read(void* buffer, std::size_t count, bool* failed = nullptr) noexcept;
    bool Write(const void* buffer, std::size_t count, Where where) noexcept;
    // The same from `position` on.
    std::size_t ReadAt(std::int64_t position, void* buffer, std::size_t count,
                       bool* failed = nullptr) noexcept;
    bool WriteAt(std::int64_t position, const void* buffer, std::size_t count) noexcept;
    bool Seek(std::int64_t position, Where origin) noexcept;
    std::int64_t Tell() const noexcept;                  // -1 for a closed file
    std::int64_t Size(bool* failed = nullptr) noexcept;  // 0 and `failed` on failure

    // Cuts the file, or extends it with zeros; the position is its new end then.
    bool SetLength(std::int64_t length) noexcept;

    // Lengthens the file to `length` with blocks that the file system has really given, so that what is
    // written into them later can't fail for want of room. On failure the file has its old length. A shorter
    // length changes nothing.
    bool TakeRoom(std::int64_t length) noexcept;

    // Moves all bytes from `position` to the end by `delta`, and the end with them. After a positive delta
    // the bytes at `position` are the old ones still, for the caller to overwrite. The room for it is taken
    // before a byte moves. After a failure everything from `position` on is where it was; `torn` is set when
    // the disk didn't allow even that, and then a part of the bytes has moved and none is missing. What a
    // negative delta overwrites in front of `position` is the caller's to put back.
    bool ShiftTail(std::int64_t position, std::int64_t delta, bool* torn = nullptr) noexcept;

    // What to log after a failed Open, with the last error.
    static clString OpenErrorText(const char16_t* path);
    static clString LongPath(std::u16string_view path);

    clString path;
    platform::FileHandle handle = platform::FileHandle::Closed;
    bool ownsHandle = false;
    std::uint32_t shareMode = kShareReadWrite;

  private:
    std::int64_t position_ = 0;  // never negative
};
