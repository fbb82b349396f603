#include "platform/posix/descriptor.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>

#include "platform/clock.h"

namespace platform::posix {

int AboveStandard(int descriptor) noexcept {
    if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int code = errno;
    Close(descriptor);
    errno = code;
    return moved;
}

void Close(int descriptor) noexcept {
    // Linux releases the descriptor even when close was interrupted: closing again could hit another file.
    if (descriptor >= 0) close(descriptor);
}

int PollWithin(std::span<pollfd> entries, Milliseconds limit) noexcept {
    if (std::ranges::any_of(entries, [](const pollfd& entry) { return entry.fd < 0; })) {
        errno = EBADF;
        return -1;
    }
    const std::uint64_t start = limit > 0 ? TickMilliseconds() : 0;
    Milliseconds left = limit;
    for (;;) {
        const int step = limit < 0 ? -1 : static_cast<int>(std::min<Milliseconds>(left, INT_MAX));
        const int count = poll(entries.data(), static_cast<nfds_t>(entries.size()), step);
        if (count > 0 || (count < 0 && errno != EINTR)) return count;
        if (limit < 0) continue;
        const auto passed = limit > 0 ? static_cast<Milliseconds>(TickMilliseconds() - start) : 0;
        left = std::max<Milliseconds>(limit - passed, 0);
        if (left == 0 && count == 0) return 0;
    }
}

SignalGuard::SignalGuard(int signal, bool armed) noexcept : signal_(signal) {
    if (!armed) return;
    sigset_t pending;
    sigset_t guarded;
    sigemptyset(&guarded);
    sigaddset(&guarded, signal_);
    wasPending_ = sigpending(&pending) == 0 && sigismember(&pending, signal_) == 1;
    blocked_ = pthread_sigmask(SIG_BLOCK, &guarded, &before_) == 0;
}

SignalGuard::~SignalGuard() {
    if (!blocked_) return;
    const int code = errno;
    if (!wasPending_) {
        // The signal of our own write is pending for this thread alone: take it before the mask goes back.
        sigset_t guarded;
        sigemptyset(&guarded);
        sigaddset(&guarded, signal_);
        const timespec now{};
        while (sigtimedwait(&guarded, nullptr, &now) < 0 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    errno = code;
}

namespace {
bool IsFileSizeLimited() noexcept {
    rlimit limit{};
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}
}  // namespace

SizeLimitGuard::SizeLimitGuard() noexcept : SignalGuard(SIGXFSZ, IsFileSizeLimited()) {}

}  // namespace platform::posix
