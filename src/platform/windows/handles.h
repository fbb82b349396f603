// The seam's handle values, text and limits in Win32 terms.
#pragma once

#include <windows.h>

#include <algorithm>
#include <string>
#include <utility>

#include "platform/event.h"

namespace platform::windows {

// Any handle enumeration of the seam: -1, INVALID_HANDLE_VALUE, stands for none in all of them.
template <typename Handle>
HANDLE Native(Handle handle) noexcept {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(handle));
}

// Some calls fail with a null handle, others with INVALID_HANDLE_VALUE.
template <typename Handle>
Handle Wrapped(HANDLE handle) noexcept {
    return handle == nullptr ? Handle{-1} : static_cast<Handle>(reinterpret_cast<std::intptr_t>(handle));
}

inline const wchar_t* Wide(const std::u16string& text) noexcept {
    static_assert(sizeof(wchar_t) == sizeof(char16_t));
    return reinterpret_cast<const wchar_t*>(text.c_str());
}
inline wchar_t* Wide(std::u16string& text) noexcept {
    return reinterpret_cast<wchar_t*>(text.data());
}

// INFINITE is the largest number; a limit beyond it is as good as 49 days.
inline DWORD WaitLimit(Milliseconds limit) noexcept {
    return limit < 0 ? INFINITE : static_cast<DWORD>(std::min<Milliseconds>(limit, INFINITE - 1));
}

// Closes the handle on every way out, unless it is one of the two invalid values.
class OwnedHandle {
  public:
    explicit OwnedHandle(HANDLE handle) noexcept : handle_(handle) {}
    OwnedHandle(const OwnedHandle&) = delete;
    OwnedHandle& operator=(const OwnedHandle&) = delete;
    ~OwnedHandle() {
        if (IsValid()) CloseHandle(handle_);
    }

    bool IsValid() const noexcept { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }
    HANDLE get() const noexcept { return handle_; }
    HANDLE Release() noexcept { return std::exchange(handle_, nullptr); }

  private:
    HANDLE handle_;
};

}  // namespace platform::windows
