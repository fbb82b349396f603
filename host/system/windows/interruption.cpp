#include "host/system/interruption.h"

#include <windows.h>

#include <atomic>

namespace host::system {

namespace {

// What a shell shows for a program that Ctrl-C has ended.
constexpr int kInterruptedExitCode = 130;

std::atomic<bool> interrupted = false;
std::atomic<decoder_plugin::QuitEvent*> quitEvent = nullptr;

BOOL WINAPI OnConsoleEvent(DWORD) {
    // The second Ctrl-C ends the program at once.
    if (interrupted.exchange(true)) return FALSE;
    if (decoder_plugin::QuitEvent* const event = quitEvent) event->Set();
    return TRUE;
}

}  // namespace

EndRequests::EndRequests(decoder_plugin::QuitEvent& event) {
    quitEvent = &event;
    SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

EndRequests::~EndRequests() {
    SetConsoleCtrlHandler(OnConsoleEvent, FALSE);
    quitEvent = nullptr;
}

int InterruptionCode() {
    return interrupted ? kInterruptedExitCode : 0;
}

}  // namespace host::system
