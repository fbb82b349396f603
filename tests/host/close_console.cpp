// Tells decoder-host, which runs once, that its console closes, as the system does: by a thread in that
// program that begins in CtrlRoutine. Ends when the program has ended.
#include <windows.h>

#include <tlhelp32.h>

#include <cstdint>
#include <cwchar>

namespace {

DWORD NumberOf(const wchar_t* name) {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    DWORD number = 0;
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry)) {
        if (std::wcscmp(entry.szExeFile, name) == 0) number = entry.th32ProcessID;
    }
    CloseHandle(snapshot);
    return number;
}

}  // namespace

int main() {
    const HANDLE program = OpenProcess(PROCESS_ALL_ACCESS, FALSE, NumberOf(L"decoder-host.exe"));
    const FARPROC routine = GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CtrlRoutine");
    if (program == nullptr || routine == nullptr) return 3;
    const auto start = reinterpret_cast<LPTHREAD_START_ROUTINE>(reinterpret_cast<void*>(routine));
    void* const kind = reinterpret_cast<void*>(static_cast<std::uintptr_t>(CTRL_CLOSE_EVENT));
    if (CreateRemoteThread(program, nullptr, 0, start, kind, 0, nullptr) == nullptr) return 4;
    return WaitForSingleObject(program, INFINITE) == WAIT_OBJECT_0 ? 0 : 5;
}
