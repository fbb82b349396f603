// Every allocation through `operator new` of this program and the libraries that it loads.
#pragma once

#include <cstddef>

struct MemoryCounts {
    std::size_t allocations = 0;
    std::size_t peakBytes = 0;  // held at once, on top of what was held at the start
};

// Counts from here on.
void StartCountingMemory() noexcept;
MemoryCounts CountedMemory() noexcept;
