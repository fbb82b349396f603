#include "platform/thread.h"

#include <process.h>

#include <new>

#include "platform/codepage.h"
#include "platform/windows/handles.h"

namespace platform {

struct NativeThread {
    HANDLE handle = nullptr;
    void (*body)(void*) = nullptr;
    void* argument = nullptr;
};

namespace {

constexpr unsigned kDefaultStack = 0;

unsigned __stdcall Run(void* started) {
    const auto* thread = static_cast<const NativeThread*>(started);
    thread->body(thread->argument);
    return 0;
}

using SetDescription = HRESULT(WINAPI*)(HANDLE, const wchar_t*);

// Systems older than Windows 10 1607 have it nowhere.
SetDescription FindSetThreadDescription() noexcept {
    for (const wchar_t* library : {L"KernelBase.dll", L"kernel32.dll"}) {
        const HMODULE module = GetModuleHandleW(library);
        if (module == nullptr) continue;
        if (const FARPROC found = GetProcAddress(module, "SetThreadDescription")) {
            return reinterpret_cast<SetDescription>(reinterpret_cast<void*>(found));
        }
    }
    return nullptr;
}

}  // namespace

NativeThread* StartThread(void (*body)(void*), void* argument, int priority) noexcept {
    auto* thread = new (std::nothrow) NativeThread{nullptr, body, argument};
    if (thread == nullptr) return nullptr;
    const auto handle = _beginthreadex(nullptr, kDefaultStack, Run, thread, CREATE_SUSPENDED, nullptr);
    if (handle == 0) {
        delete thread;
        return nullptr;
    }
    thread->handle = reinterpret_cast<HANDLE>(handle);
    SetThreadPriority(thread->handle, priority);
    ResumeThread(thread->handle);
    return thread;
}

void JoinThread(NativeThread* thread) noexcept {
    WaitForSingleObject(thread->handle, INFINITE);
    CloseHandle(thread->handle);
    delete thread;
}

int CurrentThreadPriority() noexcept {
    return GetThreadPriority(GetCurrentThread());
}

void RaiseToCallersPriority(NativeThread* thread) noexcept {
    const int callers = CurrentThreadPriority();
    if (callers != THREAD_PRIORITY_ERROR_RETURN && callers > GetThreadPriority(thread->handle)) {
        SetThreadPriority(thread->handle, callers);
    }
}

void NameCurrentThread(const std::string& utf8) {
    const SetDescription setDescription = FindSetThreadDescription();
    if (setDescription == nullptr) return;
    setDescription(GetCurrentThread(), windows::Wide(ToWide(CodePage::Utf8, utf8)));
}

}  // namespace platform
