#include "host/system/stalled_input.h"

#include <windows.h>

#include <thread>
#include <vector>

#include "host/system/windows/outbound_pipe.h"

namespace host::system {

// Waits for the reader, which may never come.
struct StalledInput::End {
    std::vector<std::byte> bytes;
    HANDLE pipe;
    std::thread server;

    void Serve() {
        if (!WaitForReader(pipe)) return;
        DWORD written = 0;
        WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    }
};

StalledInput::StalledInput(const std::filesystem::path&, std::span<const std::byte> bytes)
    : path_(PipeName(L"check")),
      end_(std::make_unique<End>(End{{bytes.begin(), bytes.end()}, MakeOutboundPipe(path_), {}})) {
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
