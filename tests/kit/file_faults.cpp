#include "kit/file_faults.h"

#include <cstdint>
#include <optional>

#include "platform/error.h"
#include "platform/file.h"

// The linker leads every call of a file function here, under this name, and to the real one as __real_.
// What the compiler makes of std::size_t and std::int64_t in a name differs between the systems.
#ifdef _WIN32
#define MOVES(function, pointer) function "ENS_10FileHandleEx" pointer "y"
#define RESIZE "_ZN8platform11SetFileSizeENS_10FileHandleEx"
#define TAKE_ROOM "_ZN8platform8TakeRoomENS_10FileHandleExx"
#else
#define MOVES(function, pointer) function "ENS_10FileHandleEl" pointer "m"
#define RESIZE "_ZN8platform11SetFileSizeENS_10FileHandleEl"
#define TAKE_ROOM "_ZN8platform8TakeRoomENS_10FileHandleEll"
#endif
#define READ MOVES("_ZN8platform6ReadAt", "Pv")
#define WRITE MOVES("_ZN8platform7WriteAt", "PKv")

using platform::FileHandle;
using platform::RoomResult;

std::size_t RealRead(FileHandle, std::int64_t, void*, std::size_t) asm("__real_" READ);
std::size_t RealWrite(FileHandle, std::int64_t, const void*, std::size_t) asm("__real_" WRITE);
bool RealResize(FileHandle, std::int64_t) asm("__real_" RESIZE);
RoomResult RealTakeRoom(FileHandle, std::int64_t, std::int64_t) asm("__real_" TAKE_ROOM);

namespace {

std::optional<kit::FileFault> planned;
std::size_t failing = 0;
std::size_t count = 0;

// Whether the next operation fails, with the last error set.
bool Fails(bool changes) {
    if (!planned) return false;
    const std::size_t index = count++;
    const bool fails =
        index == failing || (index > failing && changes && *planned == kit::FileFault::Lasting);
    if (fails) platform::SetLastError(platform::kErrorAccessDenied);
    return fails;
}

std::size_t Part(std::size_t bytes) {
    return planned == kit::FileFault::Half ? bytes / 2 : 0;
}

}  // namespace

std::size_t FaultyRead(FileHandle, std::int64_t, void*, std::size_t) asm("__wrap_" READ);
std::size_t FaultyWrite(FileHandle, std::int64_t, const void*, std::size_t) asm("__wrap_" WRITE);
bool FaultyResize(FileHandle, std::int64_t) asm("__wrap_" RESIZE);
RoomResult FaultyTakeRoom(FileHandle, std::int64_t, std::int64_t) asm("__wrap_" TAKE_ROOM);

std::size_t FaultyRead(FileHandle file, std::int64_t position, void* buffer, std::size_t bytes) {
    if (!Fails(false)) return RealRead(file, position, buffer, bytes);
    const std::size_t moved = RealRead(file, position, buffer, Part(bytes));
    platform::SetLastError(platform::kErrorAccessDenied);
    return moved;
}

std::size_t FaultyWrite(FileHandle file, std::int64_t position, const void* buffer, std::size_t bytes) {
    if (!Fails(true)) return RealWrite(file, position, buffer, bytes);
    const std::size_t moved = RealWrite(file, position, buffer, Part(bytes));
    platform::SetLastError(platform::kErrorAccessDenied);
    return moved;
}

bool FaultyResize(FileHandle file, std::int64_t size) {
    return !Fails(true) && RealResize(file, size);
}

RoomResult FaultyTakeRoom(FileHandle file, std::int64_t from, std::int64_t to) {
    return Fails(true) ? RoomResult::Refused : RealTakeRoom(file, from, to);
}

namespace kit {

FileFaults::FileFaults(FileFault fault, std::size_t at) {
    planned = fault;
    failing = at;
    count = 0;
}

FileFaults::~FileFaults() {
    planned.reset();
}

bool FileFaults::Happened() const {
    return count > failing;
}

}  // namespace kit
