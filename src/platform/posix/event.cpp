#include "platform/event.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <new>

#include "platform/codepage.h"
#include "platform/error.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/errors.h"

namespace platform {

namespace {

// Set while it holds something to read: the counter of an eventfd, or the byte in a named FIFO.
int Descriptor(EventHandle signal) noexcept {
    return static_cast<int>(signal);
}

EventHandle Kept(int descriptor) noexcept {
    if (descriptor < 0) posix::KeepErrno();
    return static_cast<EventHandle>(descriptor);
}

// The FIFO behind a name: its path, or an entry of the folder that is shared memory for all.
std::string FifoPath(const std::u16string& name) {
    std::string path = NameFromWide(name);
    if (path.front() == '/') return path;
    if (path.find('/') != std::string::npos) return {};
    return "/dev/shm/" + path;
}

bool IsOwnFifo(int descriptor) noexcept {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode) && status.st_uid == geteuid();
}

}  // namespace

EventHandle CreateSignal() noexcept {
    return Kept(posix::AboveStandard(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)));
}

EventHandle OpenNamedSignal(const std::u16string& name) noexcept {
    using posix::KeepErrno;
    if (name.empty()) return CreateSignal();
    try {
        const std::string path = FifoPath(name);
        if (path.empty() || path.find('\0') != std::string::npos) {
            SetLastError(kErrorInvalidName);
            return EventHandle::None;
        }
        const bool made = mkfifo(path.c_str(), S_IRUSR | S_IWUSR) == 0;
        if (!made && errno != EEXIST) {
            KeepErrno();
            return EventHandle::None;
        }
        // Opened for both directions, a FIFO never reports the end of its writers and never waits for one.
        const int descriptor =
            posix::AboveStandard(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
        if (descriptor < 0) {
            KeepErrno();
            if (made) unlink(path.c_str());
            return EventHandle::None;
        }
        if (!IsOwnFifo(descriptor)) {
            posix::Close(descriptor);
            SetLastError(kErrorAccessDenied);
            return EventHandle::None;
        }
        return static_cast<EventHandle>(descriptor);
    } catch (const std::bad_alloc&) {
        SetLastError(kErrorNotEnoughMemory);
        return EventHandle::None;
    }
}

EventHandle DuplicateSignal(EventHandle signal) noexcept {
    return Kept(fcntl(Descriptor(signal), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

void CloseSignal(EventHandle signal) noexcept {
    posix::Close(Descriptor(signal));
}

void SetSignal(EventHandle signal) noexcept {
    if (IsSignalled(signal)) return;
    // The eight bytes that an eventfd takes; a full FIFO is set already.
    const std::uint64_t one = 1;
    while (write(Descriptor(signal), &one, sizeof one) < 0 && errno == EINTR) {
    }
}

void ResetSignal(EventHandle signal) noexcept {
    std::array<std::uint64_t, 64> sink;
    for (;;) {
        const ssize_t count = read(Descriptor(signal), sink.data(), sizeof sink);
        if (count > 0 || (count < 0 && errno == EINTR)) continue;
        return;
    }
}

bool IsSignalled(EventHandle signal) noexcept {
    return WaitForAny(std::span(&signal, 1), 0) == 0;
}

int WaitForAny(std::span<const EventHandle> signals, Milliseconds limit) noexcept {
    constexpr std::size_t kInline = 16;
    std::array<pollfd, kInline> few;
    std::unique_ptr<pollfd[]> many;
    pollfd* entries = few.data();
    if (signals.size() > kInline) {
        many.reset(new (std::nothrow) pollfd[signals.size()]);
        if (!many) return kWaitFailed;
        entries = many.get();
    }
    for (std::size_t i = 0; i < signals.size(); ++i) entries[i] = {Descriptor(signals[i]), POLLIN, 0};
    const int count = posix::PollWithin(std::span(entries, signals.size()), limit);
    if (count < 0) return kWaitFailed;
    if (count == 0) return kWaitTimedOut;
    for (std::size_t i = 0; i < signals.size(); ++i) {
        if ((entries[i].revents & POLLIN) != 0) return static_cast<int>(i);
    }
    return kWaitFailed;
}

}  // namespace platform
