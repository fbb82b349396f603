// The child's ends of pipes while this process still holds them.
#pragma once

#include <array>

namespace platform::posix {

// A host may fork in another thread while a worker is being started. A copy of a write end in such a child
// would keep the pipe from ever ending, so the ends noted here are closed in every forked child.

// pipe2 close-on-exec, with both ends at 3 or above and made[childIndex] noted before any fork can see it.
// False with errno.
bool MakeNotedPipe(std::array<int, 2>& made, std::size_t childIndex) noexcept;

// Closes a descriptor, and forgets it when it was noted.
void CloseMaybeNoted(int descriptor) noexcept;

}  // namespace platform::posix
