#include "host/system/usage.h"

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include <system_error>
#include <vector>

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

// The pieces that are given out, of all heaps.
std::int64_t HeapBytes() {
    std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr));
    const DWORD count = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    if (count < heaps.size()) heaps.resize(count);
    std::int64_t bytes = 0;
    for (const HANDLE heap : heaps) {
        if (!HeapLock(heap)) continue;
        PROCESS_HEAP_ENTRY entry{};
        while (HeapWalk(heap, &entry)) {
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
        }
        HeapUnlock(heap);
    }
    return bytes;
}

}  // namespace

Usage CurrentUsage() {
    PROCESS_MEMORY_COUNTERS_EX memory{};
    if (!K32GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory),
                                 sizeof memory)) {
        ThrowLastError("the system doesn't tell how much memory is taken");
    }
    return {OpenHandles(), RunningThreads(), HeapBytes(), static_cast<std::int64_t>(memory.PrivateUsage)};
}

}  // namespace host::system
