#include "host/system/own_process.h"

#include <windows.h>

#include <cstdio>
#include <system_error>

#include "host/system/windows/command_line.h"

namespace host::system {

namespace {

constexpr std::size_t kLongestPath = 32768;

}  // namespace

struct OwnProcess::State {
    HANDLE process = nullptr;
    HANDLE job = nullptr;
};

OwnProcess::OwnProcess(const std::vector<std::string>& arguments) : state_(std::make_unique<State>()) {
    std::wstring program(kLongestPath, L'\0');
    program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = OpenNull(GENERIC_READ);
    startup.hStdOutput = OpenNull(GENERIC_WRITE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    std::wstring line = CommandLine(program, arguments);
    PROCESS_INFORMATION child{};
    const bool started = CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE,
                                        CREATE_SUSPENDED, nullptr, nullptr, &startup, &child);
    const DWORD failure = GetLastError();
    CloseHandle(startup.hStdInput);
    CloseHandle(startup.hStdOutput);
    if (!started) {
        throw std::system_error(static_cast<int>(failure), std::system_category(),
                                "can't start this program again");
    }
    // The job ends all that is in it with its last handle.
    state_->job = CreateJobObjectW(nullptr, nullptr);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(state_->job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    AssignProcessToJobObject(state_->job, child.hProcess);
    ResumeThread(child.hThread);
    CloseHandle(child.hThread);
    state_->process = child.hProcess;
}

OwnProcess::~OwnProcess() {
    TerminateProcess(state_->process, 1);
    WaitForSingleObject(state_->process, INFINITE);
    CloseHandle(state_->process);
    CloseHandle(state_->job);
}

std::optional<std::string> OwnProcess::Wait(std::chrono::milliseconds limit) {
    if (WaitForSingleObject(state_->process, static_cast<DWORD>(limit.count())) != WAIT_OBJECT_0) {
        return std::nullopt;
    }
    DWORD code = 0;
    GetExitCodeProcess(state_->process, &code);
    if (code == 0) return "";
    constexpr DWORD kLeastStatus = 0x80000000;
    if (code < kLeastStatus) return "exit code " + std::to_string(code);
    char text[32];
    std::snprintf(text, sizeof text, "exception 0x%08lX", static_cast<unsigned long>(code));
    return text;
}

void PrepareForCrashes() {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    SetUnhandledExceptionFilter([](EXCEPTION_POINTERS* crash) -> LONG {
        TerminateProcess(GetCurrentProcess(), crash->ExceptionRecord->ExceptionCode);
        return EXCEPTION_EXECUTE_HANDLER;
    });
}

void EndAtOnce() {
    TerminateProcess(GetCurrentProcess(), 0);
    for (;;) Sleep(INFINITE);
}

}  // namespace host::system
