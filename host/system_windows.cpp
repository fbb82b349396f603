#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <stdexcept>
#include <system_error>

#include "system.h"
#include "text.h"

namespace host::system {

namespace {

// What a shell shows for a program that Ctrl-C has ended.
constexpr int kInterruptedExitCode = 130;

std::atomic<bool> interrupted = false;
std::atomic<HANDLE> quitHandle = nullptr;

BOOL WINAPI OnConsoleEvent(DWORD) {
    // The second Ctrl-C ends the program at once.
    if (interrupted.exchange(true)) return FALSE;
    if (const HANDLE event = quitHandle) SetEvent(event);
    return TRUE;
}

[[noreturn]] void ThrowLastError(const std::string& what) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

HANDLE AsHandle(std::uint64_t word) {
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(word));
}

std::uint64_t AsWord(HANDLE handle) {
    return reinterpret_cast<std::uintptr_t>(handle);
}

std::u16string Narrowed(const std::wstring& text) {
    return {text.begin(), text.end()};
}

}  // namespace

std::vector<std::string> Arguments(int, char**) {
    int count = 0;
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (wide == nullptr) ThrowLastError("can't read the command line");
    std::vector<std::string> arguments;
    for (int index = 1; index < count; ++index) arguments.push_back(ToUtf8(Narrowed(wide[index])));
    LocalFree(wide);
    return arguments;
}

void PrepareStandardStreams() {
    for (std::FILE* stream : {stdin, stdout, stderr}) {
        if (_fileno(stream) >= 0) _setmode(_fileno(stream), _O_BINARY);
    }
    SetConsoleOutputCP(CP_UTF8);
}

std::filesystem::path OwnFolder() {
    constexpr std::size_t kLongestPath = 32768;
    std::wstring path(kLongestPath, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0 || length == path.size()) ThrowLastError("can't find the program's folder");
    path.resize(length);
    return std::filesystem::path(path).parent_path();
}

const char* LibrarySuffix() {
    return ".dll";
}

bool IsTerminal(std::FILE* stream) {
    // _isatty holds for every character device, NUL among them.
    DWORD mode = 0;
    return GetConsoleMode(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))), &mode) != 0;
}

int TerminalWidth(std::FILE* stream) {
    constexpr int kUnknownWidth = 80;
    CONSOLE_SCREEN_BUFFER_INFO info{};
    const auto console = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    if (!GetConsoleScreenBufferInfo(console, &info)) return kUnknownWidth;
    return info.srWindow.Right - info.srWindow.Left + 1;
}

std::FILE* OpenForReading(const std::filesystem::path& path) {
    return _wfopen(path.c_str(), L"rbN");
}

std::FILE* OpenForWriting(const std::filesystem::path& path) {
    return _wfopen(path.c_str(), L"wbN");
}

std::FILE* OpenNew(const std::filesystem::path& path) {
    constexpr int kFlags = _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT;
    const int descriptor = _wopen(path.c_str(), kFlags, _S_IREAD | _S_IWRITE);
    if (descriptor < 0) return nullptr;
    std::FILE* stream = _fdopen(descriptor, "wb");
    if (stream == nullptr) _close(descriptor);
    return stream;
}

Library::Library(const std::filesystem::path& path) : handle_(LoadLibraryW(path.c_str())) {
    if (handle_ == nullptr) ThrowLastError(ToUtf8(Narrowed(path.wstring())));
}

Library::~Library() {
    FreeLibrary(static_cast<HMODULE>(handle_));
}

void* Library::Symbol(const char* name) const {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

LogFile::LogFile() {
    std::array<wchar_t, MAX_PATH + 1> folder{};
    std::array<wchar_t, MAX_PATH + 1> path{};
    if (GetTempPathW(static_cast<DWORD>(folder.size()), folder.data()) == 0 ||
        GetTempFileNameW(folder.data(), L"dec", 0, path.data()) == 0) {
        ThrowLastError("can't make a temporary log");
    }
    const HANDLE handle =
        CreateFileW(path.data(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (handle == INVALID_HANDLE_VALUE) ThrowLastError("can't make a temporary log");
    word_ = AsWord(handle);
}

LogFile::LogFile(const std::filesystem::path& path) {
    // Append access without plain write access puts every write at the end.
    const HANDLE handle =
        CreateFileW(path.c_str(), FILE_APPEND_DATA | FILE_READ_DATA | SYNCHRONIZE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) ThrowLastError(ToUtf8(Narrowed(path.wstring())));
    word_ = AsWord(handle);
}

LogFile::~LogFile() {
    CloseHandle(AsHandle(word_));
}

std::uint64_t LogFile::Size() const {
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(AsHandle(word_), &size) || size.QuadPart < 0) return 0;
    return static_cast<std::uint64_t>(size.QuadPart);
}

std::u16string LogFile::TextFrom(std::uint64_t offset) const {
    std::u16string text;
    std::array<char16_t, 2048> piece;
    for (;;) {
        const std::uint64_t position = offset + text.size() * sizeof(char16_t);
        OVERLAPPED place{};
        place.Offset = static_cast<DWORD>(position);
        place.OffsetHigh = static_cast<DWORD>(position >> 32);
        DWORD count = 0;
        if (!ReadFile(AsHandle(word_), piece.data(), sizeof piece, &count, &place)) return text;
        if (count < sizeof(char16_t)) return text;
        text.append(piece.data(), count / sizeof(char16_t));
    }
}

QuitEvent::QuitEvent() {
    const std::string name =
        "decoder-host quit " + std::to_string(GetCurrentProcessId()) + " " + std::to_string(GetTickCount64());
    name_ = ToUtf16(name);
    quitHandle = CreateEventW(nullptr, TRUE, FALSE, std::wstring(name_.begin(), name_.end()).c_str());
    if (quitHandle == nullptr) ThrowLastError("can't make the quit event");
    SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

QuitEvent::~QuitEvent() {
    SetConsoleCtrlHandler(OnConsoleEvent, FALSE);
    CloseHandle(quitHandle.exchange(nullptr));
}

void QuitEvent::Opened() {}

int InterruptionCode() {
    return interrupted ? kInterruptedExitCode : 0;
}

}  // namespace host::system
