#include "platform/pipe.h"

#include <array>

#include "platform/random.h"
#include "platform/windows/handles.h"

namespace platform {

namespace {

using windows::Native;
using windows::OwnedHandle;
using windows::Wrapped;

constexpr std::size_t kLargestTransfer = 0x1000000;

SECURITY_ATTRIBUTES Inheritable() noexcept {
    return {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
}

// Two lower-case digits for each byte of a fresh GUID; empty when there is none to be had.
std::u16string GenerateWorkerPipeName() {
    constexpr std::u16string_view kDigits = u"0123456789abcdef";
    std::array<std::uint8_t, 16> guid;
    if (!FreshGuid(guid)) return {};
    std::u16string name = u"\\\\.\\pipe\\";
    for (const unsigned byte : guid) {
        name += kDigits[byte >> 4];
        name += kDigits[byte & 0x0F];
    }
    return name;
}

HANDLE CreateParentEnd(const std::u16string& name, DWORD access) noexcept {
    SECURITY_ATTRIBUTES attributes = Inheritable();
    constexpr auto kBuffer = static_cast<DWORD>(kPipeBytes);
    return CreateNamedPipeW(
        windows::Wide(name), access | FILE_FLAG_FIRST_PIPE_INSTANCE | FILE_FLAG_OVERLAPPED,
        PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, kBuffer, kBuffer, 0, &attributes);
}

HANDLE OpenChildEnd(const std::u16string& name, DWORD access) noexcept {
    SECURITY_ATTRIBUTES attributes = Inheritable();
    return CreateFileW(windows::Wide(name), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &attributes,
                       OPEN_EXISTING, 0, nullptr);
}

HANDLE DuplicateNotInheritable(HANDLE handle) noexcept {
    HANDLE copy = nullptr;
    const HANDLE process = GetCurrentProcess();
    DuplicateHandle(process, handle, process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS);
    return copy;
}

PipeResult MakeNamedPipe(PipeDirection direction, PipeEnds& ends) {
    const std::u16string name = GenerateWorkerPipeName();
    if (name.empty()) return PipeResult::NoName;
    const bool toChild = direction == PipeDirection::ToChild;
    OwnedHandle parent(CreateParentEnd(name, toChild ? PIPE_ACCESS_OUTBOUND : PIPE_ACCESS_INBOUND));
    if (!parent.IsValid()) return PipeResult::NoPipe;
    // A child's end that couldn't be opened is INVALID_HANDLE_VALUE: the child starts without that channel.
    OwnedHandle child(OpenChildEnd(name, toChild ? GENERIC_READ : GENERIC_WRITE));
    if (toChild) {
        // A child that inherited this end would keep its own standard input from ever ending.
        const HANDLE own = DuplicateNotInheritable(parent.get());
        if (own == nullptr) return PipeResult::NoPipe;
        ends.parent = Wrapped<PipeHandle>(own);
    } else {
        ends.parent = Wrapped<PipeHandle>(parent.Release());
    }
    ends.child = Wrapped<PipeHandle>(child.Release());
    return PipeResult::Made;
}

// One overlapped transfer. It lives until the system is done with it, for buffer and event belong to callers.
class OverlappedTransfer {
  public:
    OverlappedTransfer(HANDLE pipe, EventHandle event) noexcept : pipe_(pipe) {
        state_.hEvent = Native(event);
        ResetEvent(state_.hEvent);
        ::SetLastError(ERROR_SUCCESS);
    }
    OverlappedTransfer(const OverlappedTransfer&) = delete;
    OverlappedTransfer& operator=(const OverlappedTransfer&) = delete;
    ~OverlappedTransfer() {
        if (!pending_) return;
        const DWORD code = ::GetLastError();
        DWORD moved = 0;
        CancelIo(pipe_);
        GetOverlappedResult(pipe_, &state_, &moved, TRUE);
        ::SetLastError(code);
    }

    OVERLAPPED* state() noexcept { return &state_; }

    // `started` is what ReadFile or WriteFile returned: true when the transfer is under way or done.
    bool Started(BOOL started) noexcept {
        pending_ = started != 0 || ::GetLastError() == ERROR_IO_PENDING;
        return pending_;
    }

    // Moved when the transfer ended; else what ended the wait, with the transfer still pending.
    TransferEnd Wait(EventHandle abort, Milliseconds limit) noexcept {
        std::array<HANDLE, 2> handles{state_.hEvent, state_.hEvent};
        // A set abort wins over data, and of several set objects the first one is told.
        const bool abortable = abort != EventHandle::None;
        if (abortable) handles[0] = Native(abort);
        const DWORD count = abortable ? 2 : 1;
        const DWORD result = WaitForMultipleObjects(count, handles.data(), FALSE, windows::WaitLimit(limit));
        if (result == WAIT_OBJECT_0 + count - 1) return TransferEnd::Moved;
        if (abortable && result == WAIT_OBJECT_0) return TransferEnd::Aborted;
        return result == WAIT_TIMEOUT ? TransferEnd::TimedOut : TransferEnd::Failed;
    }

    // Waits for the end of the transfer. False with the last error.
    bool Finish(DWORD& moved) noexcept {
        if (!GetOverlappedResult(pipe_, &state_, &moved, TRUE)) return false;
        pending_ = false;
        return true;
    }

  private:
    HANDLE pipe_;
    OVERLAPPED state_{};
    bool pending_ = false;
};

// `start(overlapped)` is the ReadFile or WriteFile.
template <typename Start>
Transfer MoveOverlapped(PipeHandle pipe, EventHandle event, EventHandle abort, Milliseconds limit,
                        Start start) noexcept {
    if (abort != EventHandle::None && IsSignalled(abort)) return {TransferEnd::Aborted, 0};
    if (event == EventHandle::None) {
        ::SetLastError(ERROR_INVALID_HANDLE);
        return {TransferEnd::Failed, 0};
    }
    OverlappedTransfer transfer(Native(pipe), event);
    const BOOL started = start(transfer.state());
    if (!transfer.Started(started)) return {TransferEnd::Failed, 0};
    if (!started) {
        const TransferEnd end = transfer.Wait(abort, limit);
        if (end != TransferEnd::Moved) return {end, 0};
    }
    DWORD moved = 0;
    if (!transfer.Finish(moved)) return {TransferEnd::Failed, 0};
    return {TransferEnd::Moved, moved};
}

bool IsEndOfChannel(DWORD code) noexcept {
    return code == ERROR_HANDLE_EOF || code == ERROR_BROKEN_PIPE;
}

DWORD Piece(std::size_t count) noexcept {
    return static_cast<DWORD>(std::min(count, kLargestTransfer));
}

}  // namespace

PipeResult MakePipe(PipeDirection direction, PipeEnds& ends) noexcept {
    ends = {};
    try {
        return MakeNamedPipe(direction, ends);
    } catch (...) {
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return PipeResult::NoPipe;
    }
}

void ClosePipe(PipeHandle pipe) noexcept {
    CloseHandle(Native(pipe));
}

EventHandle CreateTransferSignal() noexcept {
    return CreateSignal();
}

Transfer ReadPipe(PipeHandle pipe, void* buffer, std::size_t count, EventHandle transfer, EventHandle abort,
                  Milliseconds limit) noexcept {
    const Transfer done = MoveOverlapped(pipe, transfer, abort, limit, [&](OVERLAPPED* state) {
        return ReadFile(Native(pipe), buffer, Piece(count), nullptr, state);
    });
    // A writer that sends nothing on purpose ends the stream as well.
    const bool empty = done.how == TransferEnd::Moved && done.count == 0;
    const bool ended = done.how == TransferEnd::Failed && IsEndOfChannel(::GetLastError());
    return empty || ended ? Transfer{TransferEnd::EndOfChannel, 0} : done;
}

Transfer WritePipe(PipeHandle pipe, const void* buffer, std::size_t count, EventHandle transfer,
                   EventHandle abort, Milliseconds limit) noexcept {
    const Transfer done = MoveOverlapped(pipe, transfer, abort, limit, [&](OVERLAPPED* state) {
        return WriteFile(Native(pipe), buffer, Piece(count), nullptr, state);
    });
    if (done.how != TransferEnd::Moved || done.count == Piece(count)) return done;
    ::SetLastError(ERROR_WRITE_FAULT);
    return {TransferEnd::Failed, 0};
}

}  // namespace platform
