#include "platform/posix/life_line.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "platform/posix/child_ends.h"

namespace platform::posix {

bool LifeLine::Make() noexcept {
    // Noted, so that no forked child of the host keeps the line from being cut.
    return MakeNotedSocketPair(ends_) && shutdown(ends_[0], SHUT_WR) == 0;
}

LifeLine::~LifeLine() {
    for (const int end : ends_) CloseNoted(end);
}

// The three settings belong to the socket, not to the descriptor: they hold for the child's copy.
void LifeLine::TieTo(pid_t child) noexcept {
    if (ChildEnd() < 0 || fcntl(ChildEnd(), F_SETOWN, child) != 0 || child == 0) return;
    const int flags = fcntl(ChildEnd(), F_GETFL);
    if (flags < 0 || fcntl(ChildEnd(), F_SETSIG, SIGKILL) != 0) return;
    fcntl(ChildEnd(), F_SETFL, flags | O_ASYNC);
}

int LifeLine::Release() noexcept {
    return std::max(std::exchange(ends_[0], -1), 0);
}

void LifeLine::Cut(int released) noexcept {
    if (released > 0) CloseNoted(released);
}

}  // namespace platform::posix
