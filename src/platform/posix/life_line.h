// What ends a child when this process ends, in whatever way.
#pragma once

#include <sys/types.h>

#include <array>

namespace platform::posix {

// A pair of connected sockets, of which the child gets one as its standard input. Nothing is ever written, so
// the child finds its input at the end. The kernel sends a signal to the owner of a socket when the other
// side goes, and the owner is the child: when this process ends, even killed, the child is killed with it, be
// it ever so silent. Nothing in the child has to know of it, and no signal ever comes to this process. (A
// parent-death signal would do the same for the end of the starting thread, not of the process.)
class LifeLine {
  public:
    LifeLine() noexcept = default;  // none yet
    ~LifeLine();
    LifeLine(const LifeLine&) = delete;
    LifeLine& operator=(const LifeLine&) = delete;

    // False when there are no sockets to be had.
    bool Make() noexcept;

    int ChildEnd() const noexcept { return ends_[1]; }

    // From now on the child dies with this one; 0 unties it. Nothing without a line.
    void TieTo(pid_t child) noexcept;

    // This process's end, to be cut when the child has ended; 0 without a life line.
    int Release() noexcept;
    static void Cut(int released) noexcept;

  private:
    std::array<int, 2> ends_{-1, -1};
};

}  // namespace platform::posix
