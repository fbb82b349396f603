#include "host/system/console.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <system_error>

#include "decoder_plugin.hpp"

namespace host::system {

namespace {

[[noreturn]] void ThrowLastError(const char* what) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

std::u16string Units(const std::wstring& text) {
    return {text.begin(), text.end()};
}

}  // namespace

std::vector<std::string> Arguments(int, char**) {
    int count = 0;
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (wide == nullptr) ThrowLastError("can't read the command line");
    std::vector<std::string> arguments;
    for (int index = 1; index < count; ++index)
        arguments.push_back(decoder_plugin::ToUtf8(Units(wide[index])));
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

}  // namespace host::system
