#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>

#include "stand_in_system.h"

// No signal comes for a closed pipe, and the stand-in doesn't look at what its writes return.
void IgnoreClosedPipes() {}

void EndBySignal() {
    TerminateProcess(GetCurrentProcess(), STATUS_ACCESS_VIOLATION);
    for (;;) Sleep(INFINITE);
}

void UseBinaryOutput() {
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
}

std::map<std::string, std::string> SystemCircumstances() {
    STARTUPINFOW info{};
    GetStartupInfoW(&info);
    const bool hidden = (info.dwFlags & STARTF_USESHOWWINDOW) != 0 && info.wShowWindow == SW_HIDE;
    return {{"window", hidden ? "hidden" : "shown"}};
}
