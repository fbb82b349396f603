#include "quick/counted_memory.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> allocations;
std::atomic<std::ptrdiff_t> held;
std::atomic<std::ptrdiff_t> peak;

void* Allocate(std::size_t bytes) noexcept {
    void* const memory = std::malloc(std::max<std::size_t>(bytes, 1));
    if (memory == nullptr) return nullptr;
    ++allocations;
    const auto usable = static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
    const std::ptrdiff_t now = held += usable;
    std::ptrdiff_t before = peak;
    while (before < now && !peak.compare_exchange_weak(before, now)) {
    }
    return memory;
}

void Release(void* memory) noexcept {
    if (memory != nullptr) held -= static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t bytes) {
    if (void* const memory = Allocate(bytes)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t bytes) {
    return operator new(bytes);
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return Allocate(bytes);
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    return Allocate(bytes);
}
void operator delete(void* memory) noexcept {
    Release(memory);
}
void operator delete[](void* memory) noexcept {
    Release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    Release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    Release(memory);
}

void StartCountingMemory() noexcept {
    allocations = 0;
    held = 0;
    peak = 0;
}

MemoryCounts CountedMemory() noexcept {
    return {allocations, static_cast<std::size_t>(peak.load())};
}
