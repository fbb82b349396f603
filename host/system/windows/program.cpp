#include "host/system/program.h"

#include <windows.h>

#include <string>
#include <thread>

#include "host/system/windows/command_line.h"

namespace host::system {

std::string OutputOf(const std::filesystem::path& program, const std::vector<std::string>& arguments) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    HANDLE reader = nullptr;
    HANDLE writer = nullptr;
    if (!CreatePipe(&reader, &writer, &inherited, 0)) return {};
    SetHandleInformation(reader, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = OpenNull(GENERIC_READ);
    startup.hStdOutput = writer;
    startup.hStdError = OpenNull(GENERIC_WRITE);
    std::wstring line = CommandLine(program, arguments);
    PROCESS_INFORMATION child{};
    const bool started = CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE,
                                        CREATE_NO_WINDOW, nullptr, nullptr, &startup, &child);
    CloseHandle(writer);
    CloseHandle(startup.hStdInput);
    CloseHandle(startup.hStdError);
    if (!started) {
        CloseHandle(reader);
        return {};
    }
    std::thread limit([&] {
        constexpr auto kLimit = static_cast<DWORD>(kPatienceWithPrograms.count());
        if (WaitForSingleObject(child.hProcess, kLimit) != WAIT_OBJECT_0) TerminateProcess(child.hProcess, 1);
    });
    std::string output;
    char piece[4096];
    DWORD count = 0;
    while (output.size() < kMostOutput && ReadFile(reader, piece, sizeof piece, &count, nullptr) &&
           count > 0) {
        output.append(piece, count);
    }
    // One that goes on writing is told by this that nobody reads.
    CloseHandle(reader);
    limit.join();
    CloseHandle(child.hProcess);
    CloseHandle(child.hThread);
    return output;
}

}  // namespace host::system
