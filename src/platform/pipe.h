// One-way byte channels between this process and a child.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/event.h"

namespace platform {

// A value, not an owner.
enum class PipeHandle : std::intptr_t { None = -1 };

// What the system buffers in each channel.
inline constexpr std::size_t kPipeBytes = 65536;

enum class PipeDirection { FromChild, ToChild };
enum class PipeResult { Made, NoName, NoPipe };

struct PipeEnds {
    PipeHandle parent = PipeHandle::None;  // for ReadPipe or WritePipe
    PipeHandle child = PipeHandle::None;   // to be handed to StartProcess, then closed
};

// Makes a channel of kPipeBytes. On failure both ends are None.
PipeResult MakePipe(PipeDirection direction, PipeEnds& ends) noexcept;
void ClosePipe(PipeHandle pipe) noexcept;

// The signal that a pending transfer completes into, where the system needs one; else None.
EventHandle CreateTransferSignal() noexcept;

enum class TransferEnd { Moved, EndOfChannel, Aborted, TimedOut, Failed };

struct Transfer {
    TransferEnd how;
    std::size_t count;  // bytes, with Moved only
};

// Moves what the channel has or takes, at least one byte and at most `count` (above 0), straight to or from
// `buffer`; waits for the channel, `abort` (None: no abort) and the limit together. A set `abort` wins over
// data. No transfer is pending when the call returns. Failed leaves LastError; the writer's end is
// EndOfChannel on reading, and a reader that went is Failed on writing.
// `transfer` is a signal of CreateTransferSignal that nobody else uses meanwhile.
Transfer ReadPipe(PipeHandle pipe, void* buffer, std::size_t count, EventHandle transfer, EventHandle abort,
                  Milliseconds limit) noexcept;
Transfer WritePipe(PipeHandle pipe, const void* buffer, std::size_t count, EventHandle transfer,
                   EventHandle abort, Milliseconds limit) noexcept;

}  // namespace platform
