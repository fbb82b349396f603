// What this process has taken of the system.
#pragma once

#include <cstddef>
#include <cstdint>

namespace host::system {

struct Usage {
    std::size_t handles;  // open descriptors or handles
    std::size_t threads;  // running ones
    std::int64_t heap;    // bytes that the allocators have given out
    std::int64_t memory;  // bytes that are this process's alone
};

// Throws std::system_error or std::runtime_error where the system doesn't tell.
Usage CurrentUsage();

}  // namespace host::system
