#include "host/system/guarded_memory.h"

#include <windows.h>

#include <system_error>

namespace host::system {

namespace {

[[noreturn]] void ThrowLastError(const char* what) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

std::size_t PageSize() {
    SYSTEM_INFO info{};
    GetSystemInfo(&info);
    return info.dwPageSize;
}

void Protect(std::byte* start, std::size_t size, DWORD access) {
    DWORD before = 0;
    if (!VirtualProtect(start, size, access, &before)) ThrowLastError("can't protect memory");
}

}  // namespace

GuardedMemory::GuardedMemory(std::size_t size, std::size_t room) {
    const std::size_t page = PageSize();
    accessible_ = (size + room + page - 1) / page * page;
    void* const pages = VirtualAlloc(nullptr, accessible_ + page, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (pages == nullptr) ThrowLastError("can't take memory");
    start_ = static_cast<std::byte*>(pages);
    data_ = start_ + accessible_ - room - size;
    Protect(start_ + accessible_, page, PAGE_NOACCESS);
}

GuardedMemory::~GuardedMemory() {
    VirtualFree(start_, 0, MEM_RELEASE);
}

void GuardedMemory::ForbidWrites() {
    Protect(start_, accessible_, PAGE_READONLY);
}

void GuardedMemory::ForbidAll() {
    Protect(start_, accessible_, PAGE_NOACCESS);
}

}  // namespace host::system
