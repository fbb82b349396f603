#include <windows.h>

#include "tiny_system.h"

namespace tiny {

QuitSignal::QuitSignal(const std::u16string& name)
    : handle_(reinterpret_cast<std::intptr_t>(
          CreateEventW(nullptr, TRUE, FALSE, std::wstring(name.begin(), name.end()).c_str()))) {}

QuitSignal::~QuitSignal() {
    if (IsThere()) CloseHandle(reinterpret_cast<HANDLE>(handle_));
}

bool QuitSignal::IsThere() const {
    return handle_ != 0;
}

bool QuitSignal::IsSet() const {
    return WaitForSingleObject(reinterpret_cast<HANDLE>(handle_), 0) == WAIT_OBJECT_0;
}

void StayLoaded() {
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<const wchar_t*>(&StayLoaded), &self);
}

void SpoilExit() {
    TerminateProcess(GetCurrentProcess(), 3);
}

void WriteLog(std::uint64_t log, const std::u16string& text) {
    if (log == 0 || log == ~std::uint64_t{0}) return;
    DWORD count = 0;
    WriteFile(reinterpret_cast<HANDLE>(log), text.data(), static_cast<DWORD>(text.size() * 2), &count,
              nullptr);
}

}  // namespace tiny
