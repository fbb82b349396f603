#include "host/system/windows/outbound_pipe.h"

#include <string>
#include <system_error>

namespace host::system {

std::filesystem::path PipeName(const wchar_t* purpose) {
    return std::wstring(L"\\\\.\\pipe\\decoder-") + purpose + L"-" + std::to_wstring(GetCurrentProcessId());
}

HANDLE MakeOutboundPipe(const std::filesystem::path& name) {
    constexpr DWORD kBufferSize = 0x10000;
    const HANDLE pipe = CreateNamedPipeW(name.c_str(), PIPE_ACCESS_OUTBOUND | FILE_FLAG_FIRST_PIPE_INSTANCE,
                                         PIPE_TYPE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1,
                                         kBufferSize, kBufferSize, 0, nullptr);
    if (pipe == INVALID_HANDLE_VALUE) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                                "can't make a pipe");
    }
    return pipe;
}

bool WaitForReader(HANDLE pipe) {
    return ConnectNamedPipe(pipe, nullptr) != 0 || GetLastError() == ERROR_PIPE_CONNECTED;
}

}  // namespace host::system
