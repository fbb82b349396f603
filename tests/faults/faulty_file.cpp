// The platform's file functions with faults on order. This file takes the place of the platform's own in a
// plug-in for tests; the real functions are in it under other names, so it serves every system.
#define ReadAt RealReadAt
#define WriteAt RealWriteAt
#define FileSize RealFileSize
#define SetFileSize RealSetFileSize
#define TakeRoom RealTakeRoom
#define FreshGuid RealFreshGuid
#include "file.cpp"
#include "random.cpp"
#undef ReadAt
#undef WriteAt
#undef FileSize
#undef SetFileSize
#undef TakeRoom
#undef FreshGuid

#include <algorithm>
#include <string>

#include "fault_plan.h"
#include "faulty_memory.h"

namespace {

using platform::FileHandle;

FaultPlan plan;
bool armed = false;
std::string operations;
constexpr std::size_t kOperationsReserved = 1 << 16;  // noting one takes no memory
std::uint8_t guidsGiven = 0;
std::int64_t largestLength = 0;  // of the file, until the disk was full

// Counts an operation and tells what happens to it.
Fault Next(FileHandle file, char operation) {
    const auto index = static_cast<std::int64_t>(operations.size());
    operations += operation;
    if (index <= plan.at) largestLength = std::max(largestLength, platform::RealFileSize(file));
    const bool lasting = plan.fault == Fault::DiskFull || plan.fault == Fault::Ended;
    if (plan.fault == Fault::NoMemory || plan.fault == Fault::OutOfMemory) return Fault::None;
    return index == plan.at || (lasting && index > plan.at) ? plan.fault : Fault::None;
}

// Whether the operation fails at all, with the last error set; true for `Short` too.
bool Fails(Fault fault) {
    if (fault == Fault::None || fault == Fault::DiskFull) return false;
    platform::SetLastError(platform::kErrorGeneralFailure);
    return true;
}

std::int64_t RoomBehind(std::int64_t position) {
    return std::max<std::int64_t>(largestLength + plan.room - position, 0);
}

}  // namespace

namespace platform {

std::size_t ReadAt(FileHandle file, std::int64_t position, void* buffer, std::size_t count) noexcept {
    const Fault fault = Next(file, kReads);
    const std::size_t moved = fault == Fault::Short   ? RealReadAt(file, position, buffer, count / 2)
                              : fault == Fault::Error ? 0
                              : fault == Fault::Ended ? 0
                                                      : RealReadAt(file, position, buffer, count);
    Fails(fault);
    return moved;
}

std::size_t WriteAt(FileHandle file, std::int64_t position, const void* buffer, std::size_t count) noexcept {
    const Fault fault = Next(file, kWrites);
    std::size_t allowed = fault == Fault::Short ? count / 2 : Fails(fault) ? 0 : count;
    if (fault == Fault::DiskFull) {
        const std::int64_t room = RoomBehind(position);
        allowed = static_cast<std::size_t>(std::min<std::int64_t>(room, static_cast<std::int64_t>(count)));
    }
    const std::size_t moved = RealWriteAt(file, position, buffer, allowed);
    if (moved == allowed && allowed < count) SetLastError(kErrorDiskFull);
    return moved;
}

std::int64_t FileSize(FileHandle file) noexcept {
    return Fails(Next(file, kLength)) ? -1 : RealFileSize(file);
}

bool SetFileSize(FileHandle file, std::int64_t size) noexcept {
    return !Fails(Next(file, kCuts)) && RealSetFileSize(file, size);
}

RoomResult TakeRoom(FileHandle file, std::int64_t from, std::int64_t to) noexcept {
    if (plan.takesRoomUnasked) return RoomResult::Unknown;
    const Fault fault = Next(file, kTakesRoom);
    const bool full = fault == Fault::DiskFull && RoomBehind(to - 1) == 0;
    const bool fails = Fails(fault) || full;
    if (full) SetLastError(kErrorDiskFull);
    if (fails && fault != Fault::Short) return RoomResult::Refused;
    const bool resized = RealSetFileSize(file, fails ? from + (to - from) / 2 : to);
    return resized && !fails ? RoomResult::Taken : RoomResult::Refused;
}

// The same job has the same outcome each time; pipes, which are named by such numbers on some systems, are
// made at other times.
bool FreshGuid(std::array<std::uint8_t, 16>& guid) noexcept {
    if (!armed) return RealFreshGuid(guid);
    guid.fill(++guidsGiven);
    return true;
}

}  // namespace platform

extern "C" {

void ArmFault(const FaultPlan* wanted) {
    armed = wanted != nullptr;
    plan = armed ? *wanted : FaultPlan{};
    operations.clear();
    operations.reserve(kOperationsReserved);
    largestLength = 0;
    guidsGiven = 0;
    CountMemory(armed, plan);
}

const char* Operations() {
    return operations.c_str();
}

}  // extern "C"
