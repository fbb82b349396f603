// The ends of channels to children, which no forked child of the host may keep.
#pragma once

#include <array>

namespace platform::posix {

// A host may fork at any time in any thread. A copy of a write end in such a child would keep a pipe from
// ever ending, and one of a read end a worker from ever noticing that nobody reads any more. So the ends
// noted here are closed in every forked child.

// pipe2, or an AF_UNIX stream socketpair; close-on-exec, both ends at 3 or above and noted before any fork
// can see them. False with errno.
bool MakeNotedPipe(std::array<int, 2>& made) noexcept;
bool MakeNotedSocketPair(std::array<int, 2>& made) noexcept;

// Closes a descriptor, and forgets it when it was noted. Nothing for -1.
void CloseNoted(int descriptor) noexcept;

}  // namespace platform::posix
