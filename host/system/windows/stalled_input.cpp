#include "host/system/stalled_input.h"

#include <windows.h>

#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace host::system {

namespace {

constexpr DWORD kBufferSize = 0x10000;

HANDLE MakePipe(const std::filesystem::path& path) {
    const HANDLE pipe = CreateNamedPipeW(path.c_str(), PIPE_ACCESS_OUTBOUND | FILE_FLAG_FIRST_PIPE_INSTANCE,
                                         PIPE_TYPE_BYTE | PIPE_WAIT, 1, kBufferSize, kBufferSize, 0, nullptr);
    if (pipe == INVALID_HANDLE_VALUE) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                                "can't make a pipe");
    }
    return pipe;
}

}  // namespace

// Waits for the reader, which may never come.
struct StalledInput::End {
    std::vector<std::byte> bytes;
    HANDLE pipe;
    std::thread server;

    void Serve() {
        if (!ConnectNamedPipe(pipe, nullptr) && GetLastError() != ERROR_PIPE_CONNECTED) return;
        DWORD written = 0;
        WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    }
};

StalledInput::StalledInput(const std::filesystem::path&, std::span<const std::byte> bytes)
    : path_(L"\\\\.\\pipe\\decoder-check-" + std::to_wstring(GetCurrentProcessId())),
      end_(std::make_unique<End>(End{{bytes.begin(), bytes.end()}, MakePipe(path_), {}})) {
    end_->server = std::thread([end = end_.get()] { end->Serve(); });
}

StalledInput::~StalledInput() {
    // A reader of our own ends the wait for one.
    const HANDLE reader = CreateFileW(path_.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    end_->server.join();
    if (reader != INVALID_HANDLE_VALUE) CloseHandle(reader);
    CloseHandle(end_->pipe);
}

}  // namespace host::system
