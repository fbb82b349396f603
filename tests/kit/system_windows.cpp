#include <windows.h>

#include <tlhelp32.h>

#include <stdexcept>

#include "kit/system.h"

namespace kit {

namespace {

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what + " failed with error " + std::to_string(GetLastError()));
}

}  // namespace

Library::Library(const std::filesystem::path& path) : handle_(LoadLibraryW(path.c_str())) {
    if (handle_ == nullptr) Fail("LoadLibrary");
}

Library::~Library() {
    FreeLibrary(static_cast<HMODULE>(handle_));
}

void* Library::Find(const char* name) const {
    const FARPROC found = GetProcAddress(static_cast<HMODULE>(handle_), name);
    if (found == nullptr) Fail(name);
    return reinterpret_cast<void*>(found);
}

std::uint64_t OpenLog(const std::filesystem::path& path) {
    const HANDLE file = CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) Fail("the log's CreateFile");
    return reinterpret_cast<std::uint64_t>(file);
}

std::string ReadAsChild(platform::PipeHandle pipe, std::size_t count) {
    std::string bytes(count, '\0');
    std::size_t done = 0;
    DWORD came = 1;
    while (done < count && came > 0) {
        const auto wanted = static_cast<DWORD>(count - done);
        if (!ReadFile(reinterpret_cast<HANDLE>(pipe), bytes.data() + done, wanted, &came, nullptr)) break;
        done += came;
    }
    bytes.resize(done);
    return bytes;
}

void CloseLog(std::uint64_t log) {
    CloseHandle(reinterpret_cast<HANDLE>(log));
}

void SetArguments(WorkerCommand& command, const std::vector<std::string>& arguments) {
    std::string& line = command.rawCommandLine;
    for (const std::string& argument : arguments) {
        if (!line.empty()) line += ' ';
        line += '"';
        std::size_t backslashes = 0;
        for (const char byte : argument + '"') {
            // In front of a quotation mark, a backslash escapes what follows it.
            if (byte == '"') line.append(backslashes, '\\');
            backslashes = byte == '\\' ? backslashes + 1 : 0;
            if (byte == '"') line += '\\';
            line += byte;
        }
        line.erase(line.size() - 2, 1);  // the last quotation mark ends the argument
    }
}

// One by one, since Wine gives 0 for the count of a process. Handles are multiples of 4, and the lowest free
// one is given out first.
int OpenHandles() {
    constexpr std::uintptr_t kStep = 4;
    constexpr std::uintptr_t kMost = 0x10000;
    int count = 0;
    for (std::uintptr_t value = kStep; value < kMost; value += kStep) {
        DWORD flags = 0;
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) ++count;
    }
    if (count == 0) throw std::runtime_error("no handle can be told");
    return count;
}

int RunningThreads() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    int count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID == GetCurrentProcessId()) ++count;
    }
    CloseHandle(snapshot);
    return count;
}

// A process that has ended is gone with its last handle, which OpenHandles would count.
bool HasChildren() {
    return false;
}

std::u16string FreshEventName() {
    static int count = 0;
    const std::string name =
        "decoder_test_" + std::to_string(GetCurrentProcessId()) + "_" + std::to_string(++count);
    return {name.begin(), name.end()};
}

// An event goes with its last handle.
void RemoveEvent(const std::u16string&) {}

}  // namespace kit
