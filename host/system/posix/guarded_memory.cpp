#include "host/system/guarded_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace host::system {

namespace {

std::size_t PageSize() {
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

void Protect(std::byte* start, std::size_t size, int access) {
    if (mprotect(start, size, access) != 0)
        throw std::system_error(errno, std::generic_category(), "can't protect memory");
}

}  // namespace

GuardedMemory::GuardedMemory(std::size_t size, std::size_t room) {
    const std::size_t page = PageSize();
    accessible_ = (size + room + page - 1) / page * page;
    void* const pages =
        mmap(nullptr, accessible_ + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "can't take memory");
    start_ = static_cast<std::byte*>(pages);
    data_ = start_ + accessible_ - room - size;
    Protect(start_ + accessible_, page, PROT_NONE);
}

GuardedMemory::~GuardedMemory() {
    munmap(start_, accessible_ + PageSize());
}

void GuardedMemory::ForbidWrites() {
    Protect(start_, accessible_, PROT_READ);
}

void GuardedMemory::ForbidAll() {
    Protect(start_, accessible_, PROT_NONE);
}

}  // namespace host::system
