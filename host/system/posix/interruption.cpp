#include "host/system/interruption.h"

#include <signal.h>

#include <array>
#include <atomic>

namespace host::system {

namespace {

constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};
constexpr int kSignalExitBase = 128;

std::atomic<int> endingSignal = 0;
std::atomic<decoder_plugin::QuitEvent*> quitEvent = nullptr;
static_assert(std::atomic<int>::is_always_lock_free);
static_assert(std::atomic<decoder_plugin::QuitEvent*>::is_always_lock_free);

// Runs in any thread, the plug-in's included.
extern "C" void OnEndingSignal(int number) {
    endingSignal = number;
    if (decoder_plugin::QuitEvent* const event = quitEvent) event->Set();
}

}  // namespace

EndRequests::EndRequests(decoder_plugin::QuitEvent& event) {
    quitEvent = &event;
    // Interrupted writes are not taken up again: the reader of our output may never read. The second Ctrl-C
    // ends the program at once; a reader that has gone is noticed again and again.
    struct sigaction action {};
    action.sa_handler = OnEndingSignal;
    for (const int number : kEndingSignals) {
        action.sa_flags = number == SIGPIPE ? 0 : static_cast<int>(SA_RESETHAND);
        struct sigaction before {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
    }
}

EndRequests::~EndRequests() {
    for (const int number : kEndingSignals) {
        struct sigaction now {};
        sigaction(number, nullptr, &now);
        if (now.sa_handler == OnEndingSignal) signal(number, SIG_DFL);
    }
    quitEvent = nullptr;
}

int InterruptionCode() {
    const int number = endingSignal;
    return number == 0 ? 0 : kSignalExitBase + number;
}

}  // namespace host::system
