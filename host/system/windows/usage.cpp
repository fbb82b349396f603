#include "host/system/usage.h"

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include <system_error>

namespace host::system {

namespace {

[[noreturn]] void ThrowLastError(const char* what) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

// One by one, since Wine gives 0 for the count of a process. Handles are multiples of 4, and the lowest free
// one is given out first.
std::size_t OpenHandles() {
    constexpr std::uintptr_t kStep = 4;
    constexpr std::uintptr_t kMost = 0x10000;
    std::size_t count = 0;
    for (std::uintptr_t value = kStep; value < kMost; value += kStep) {
        DWORD flags = 0;
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) ++count;
    }
    return count;
}

std::size_t RunningThreads() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE) ThrowLastError("can't list the threads");
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    std::size_t count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID == GetCurrentProcessId()) ++count;
    }
    CloseHandle(snapshot);
    return count;
}

}  // namespace

Usage CurrentUsage() {
    PROCESS_MEMORY_COUNTERS_EX memory{};
    if (!K32GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory),
                                 sizeof memory)) {
        ThrowLastError("the system doesn't tell how much memory is taken");
    }
    return {OpenHandles(), RunningThreads(), 0, static_cast<std::int64_t>(memory.PrivateUsage)};
}

}  // namespace host::system
