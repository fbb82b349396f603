#include "faulty_memory.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

struct Counter {
    bool counts = false;
    std::int64_t requests = 0;
    std::int64_t firstRefused = kNever, lastRefused = kNever;
};
// Other threads take memory at times of their own.
thread_local Counter counter;

bool Refuses() noexcept {
    if (!counter.counts) return false;
    const std::int64_t index = counter.requests++;
    return index >= counter.firstRefused && index <= counter.lastRefused;
}

}  // namespace

void CountMemory(bool counts, const FaultPlan& plan) noexcept {
    counter = {.counts = counts};
    if (plan.fault == Fault::NoMemory) counter.lastRefused = plan.at;
    if (plan.fault == Fault::NoMemory || plan.fault == Fault::OutOfMemory) counter.firstRefused = plan.at;
}

extern "C" std::int64_t MemoryRequests() {
    return counter.requests;
}

// The other forms call these.
void* operator new(std::size_t size) {
    void* const memory = Refuses() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
