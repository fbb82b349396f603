#include "platform/pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/error.h"
#include "platform/posix/child_ends.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/errors.h"

namespace platform {

namespace {

int Descriptor(PipeHandle pipe) noexcept {
    return static_cast<int>(pipe);
}

// Only the parent's end doesn't block: the flag belongs to an end, and the child expects an ordinary one.
bool SetNonBlocking(int descriptor) noexcept {
    const int flags = fcntl(descriptor, F_GETFL);
    return flags >= 0 && fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) == 0;
}

// Repeats `attempt`, a read or write that doesn't block, until it moved something or a wait ended it.
template <typename Attempt>
Transfer TransferWhenReady(int descriptor, short readiness, EventHandle abort, Milliseconds limit,
                           Attempt attempt) noexcept {
    std::array<pollfd, 2> entries{pollfd{descriptor, readiness, 0},
                                  pollfd{static_cast<int>(abort), POLLIN, 0}};
    const bool abortable = abort != EventHandle::None;
    // With an abort signal the wait comes first, so that a set one wins over data that is there.
    bool wait = abortable;
    for (;;) {
        if (wait) {
            const int count = posix::PollWithin(std::span(entries.data(), abortable ? 2U : 1U), limit);
            if (count == 0) return {TransferEnd::TimedOut, 0};
            if (count < 0 && abortable && IsSignalled(abort)) return {TransferEnd::Aborted, 0};
            if (count < 0) break;
            if (abortable && entries[1].revents != 0) return {TransferEnd::Aborted, 0};
        }
        const ssize_t moved = attempt();
        if (moved > 0) return {TransferEnd::Moved, static_cast<std::size_t>(moved)};
        if (moved == 0) return {TransferEnd::EndOfChannel, 0};
        if (errno != EAGAIN && errno != EINTR) break;
        wait = wait || errno == EAGAIN;
    }
    posix::KeepErrno();
    return {TransferEnd::Failed, 0};
}

}  // namespace

PipeResult MakePipe(PipeDirection direction, PipeEnds& ends) noexcept {
    ends = {};
    const std::size_t childIndex = direction == PipeDirection::FromChild ? 1 : 0;
    std::array<int, 2> made{};
    if (!posix::MakeNotedPipe(made)) {
        posix::KeepErrno();
        return PipeResult::NoPipe;
    }
    const int parent = made[1 - childIndex];
    const int child = made[childIndex];
    if (!SetNonBlocking(parent)) {
        posix::KeepErrno();
        posix::CloseNoted(parent);
        posix::CloseNoted(child);
        return PipeResult::NoPipe;
    }
    // The usual size already, unless this user has used up what the system grants for pipes.
    fcntl(parent, F_SETPIPE_SZ, static_cast<int>(kPipeBytes));
    ends = {static_cast<PipeHandle>(parent), static_cast<PipeHandle>(child)};
    return PipeResult::Made;
}

void ClosePipe(PipeHandle pipe) noexcept {
    posix::CloseNoted(Descriptor(pipe));
}

EventHandle CreateTransferSignal() noexcept {
    return EventHandle::None;
}

Transfer ReadPipe(PipeHandle pipe, void* buffer, std::size_t count, EventHandle, EventHandle abort,
                  Milliseconds limit) noexcept {
    const int descriptor = Descriptor(pipe);
    return TransferWhenReady(descriptor, POLLIN, abort, limit,
                             [&] { return read(descriptor, buffer, count); });
}

Transfer WritePipe(PipeHandle pipe, const void* buffer, std::size_t count, EventHandle, EventHandle abort,
                   Milliseconds limit) noexcept {
    const int descriptor = Descriptor(pipe);
    return TransferWhenReady(descriptor, POLLOUT, abort, limit, [&] {
        const posix::SigpipeGuard guard;
        return write(descriptor, buffer, count);
    });
}

}  // namespace platform
