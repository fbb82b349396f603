#include "platform/event.h"

#include <algorithm>
#include <array>

#include "platform/windows/handles.h"

namespace platform {

namespace {

EventHandle CreateManualReset(const wchar_t* name) noexcept {
    // No security attributes: the handle isn't inherited. An existing name opens what is there.
    return windows::Wrapped<EventHandle>(CreateEventW(nullptr, TRUE, FALSE, name));
}

}  // namespace

EventHandle CreateSignal() noexcept {
    return CreateManualReset(nullptr);
}

EventHandle OpenNamedSignal(const std::u16string& name) noexcept {
    ::SetLastError(ERROR_SUCCESS);
    return CreateManualReset(name.empty() ? nullptr : windows::Wide(name));
}

EventHandle DuplicateSignal(EventHandle signal) noexcept {
    HANDLE copy = nullptr;
    const HANDLE process = GetCurrentProcess();
    if (!DuplicateHandle(process, windows::Native(signal), process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS)) {
        return EventHandle::None;
    }
    return windows::Wrapped<EventHandle>(copy);
}

void CloseSignal(EventHandle signal) noexcept {
    CloseHandle(windows::Native(signal));
}

void SetSignal(EventHandle signal) noexcept {
    SetEvent(windows::Native(signal));
}

void ResetSignal(EventHandle signal) noexcept {
    ResetEvent(windows::Native(signal));
}

bool IsSignalled(EventHandle signal) noexcept {
    return WaitForSingleObject(windows::Native(signal), 0) == WAIT_OBJECT_0;
}

int WaitForAny(std::span<const EventHandle> signals, Milliseconds limit) noexcept {
    std::array<HANDLE, MAXIMUM_WAIT_OBJECTS> handles;
    if (signals.size() > handles.size()) return kWaitFailed;
    // None has the value that stands for this process, whose end nobody would live to see.
    if (std::ranges::find(signals, EventHandle::None) != signals.end()) return kWaitFailed;
    std::transform(signals.begin(), signals.end(), handles.begin(), windows::Native<EventHandle>);
    const auto count = static_cast<DWORD>(signals.size());
    const DWORD result = WaitForMultipleObjects(count, handles.data(), FALSE, windows::WaitLimit(limit));
    if (result < WAIT_OBJECT_0 + count) return static_cast<int>(result - WAIT_OBJECT_0);
    return result == WAIT_TIMEOUT ? kWaitTimedOut : kWaitFailed;
}

}  // namespace platform
