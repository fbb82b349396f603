#include "host/system/console.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <algorithm>
#include <array>
#include <cerrno>
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

// Broken UTF-8 becomes U+FFFD.
std::wstring Wide(std::string_view utf8) {
    const auto bytes = static_cast<int>(utf8.size());
    std::wstring wide(
        static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

HANDLE HandleOf(std::FILE* stream) {
    return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
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

void PrepareProcess() {
    for (std::FILE* stream : {stdin, stdout, stderr}) {
        if (_fileno(stream) >= 0) _setmode(_fileno(stream), _O_BINARY);
    }
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
    return GetConsoleMode(HandleOf(stream), &mode) != 0;
}

bool WriteText(std::FILE* stream, std::string_view text) {
    if (!IsTerminal(stream)) return std::fwrite(text.data(), 1, text.size(), stream) == text.size();
    // The console takes UTF-16 as it is and bytes in a code page that other programs use after this one.
    const std::wstring wide = Wide(text);
    constexpr std::size_t kPiece = 8192;  // of what one call surely takes
    for (std::size_t done = 0; done < wide.size();) {
        const auto units = static_cast<DWORD>(std::min(wide.size() - done, kPiece));
        DWORD written = 0;
        if (!WriteConsoleW(HandleOf(stream), wide.data() + done, units, &written, nullptr) || written == 0) {
            errno = EIO;
            return false;
        }
        done += written;
    }
    return true;
}

std::string ReadAnswer() {
    std::u16string answer;
    std::array<wchar_t, 256> piece;
    DWORD count = 0;
    while (answer.find(u'\n') == std::u16string::npos &&
           ReadConsoleW(HandleOf(stdin), piece.data(), static_cast<DWORD>(piece.size()), &count, nullptr) &&
           count > 0) {
        answer.append(piece.begin(), piece.begin() + count);
    }
    return decoder_plugin::ToUtf8(answer.substr(0, answer.find_first_of(u"\r\n")));
}

bool ShowsUnicode(std::FILE* stream) {
    // What goes to a console goes there as UTF-16.
    return IsTerminal(stream);
}

bool HasColours(std::FILE* stream) {
    // A console that doesn't take control sequences already would show them as text.
    DWORD mode = 0;
    const auto console = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    const wchar_t* const refusal = _wgetenv(L"NO_COLOR");
    if (refusal != nullptr && *refusal != L'\0') return false;
    return GetConsoleMode(console, &mode) && (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

int TerminalWidth(std::FILE* stream) {
    constexpr int kUnknownWidth = 80;
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(HandleOf(stream), &info)) return kUnknownWidth;
    return info.srWindow.Right - info.srWindow.Left + 1;
}

}  // namespace host::system
