// The body of a frame.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace id3parser {

// Leaves what `resize` adds as it is: a picture of megabytes is read over it right away.
template <typename T>
struct UninitialisedAllocator : std::allocator<T> {
    template <typename Other>
    struct rebind {
        using other = UninitialisedAllocator<Other>;
    };

    UninitialisedAllocator() = default;
    template <typename Other>
    UninitialisedAllocator(const UninitialisedAllocator<Other>&) noexcept {}

    template <typename Other>
    void construct(Other* place) noexcept {
        ::new (static_cast<void*>(place)) Other;
    }
    template <typename Other, typename... Arguments>
    void construct(Other* place, Arguments&&... arguments) {
        ::new (static_cast<void*>(place)) Other(std::forward<Arguments>(arguments)...);
    }
};

using FrameBytes = std::vector<std::byte, UninitialisedAllocator<std::byte>>;

}  // namespace id3parser
