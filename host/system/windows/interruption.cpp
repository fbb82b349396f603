#include "host/system/interruption.h"

#include <windows.h>

#include <atomic>
#include <mutex>

namespace host::system {

namespace {

// What a shell shows for a program that Ctrl-C has ended.
constexpr int kInterruptedExitCode = 130;

std::atomic<bool> interrupted = false;
std::mutex guard;  // of the event, which the handler uses in a thread of the system's
decoder_plugin::QuitEvent* quitEvent = nullptr;

BOOL WINAPI OnConsoleEvent(DWORD kind) {
    const bool again = interrupted.exchange(true);
    {
        const std::lock_guard lock(guard);
        if (quitEvent != nullptr) quitEvent->Set();
    }
    // The second Ctrl-C ends the program at once.
    if (kind == CTRL_C_EVENT || kind == CTRL_BREAK_EVENT) return !again;
    // The window closes or the session ends: the system would end the program as soon as this returns, and
    // does so after some seconds anyway. Until then the main thread may clean up; its end ends this thread.
    Sleep(INFINITE);
    return TRUE;
}

}  // namespace

EndRequests::EndRequests(decoder_plugin::QuitEvent& event) {
    quitEvent = &event;
    SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

EndRequests::~EndRequests() {
    {
        const std::lock_guard lock(guard);
        quitEvent = nullptr;
    }
    // A handler that waits may keep its list from being changed.
    if (!interrupted) SetConsoleCtrlHandler(OnConsoleEvent, FALSE);
}

int InterruptionCode() {
    return interrupted ? kInterruptedExitCode : 0;
}

}  // namespace host::system
