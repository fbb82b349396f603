#include "host/system/standard_input.h"

#include <windows.h>

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

#include "host/system/files.h"
#include "host/system/windows/outbound_pipe.h"

namespace host::system {

namespace {

// The name of an open file, as programs take it.
std::optional<std::wstring> NameOf(HANDLE file) {
    const DWORD size = GetFinalPathNameByHandleW(file, nullptr, 0, VOLUME_NAME_DOS);
    std::wstring name(size, L'\0');
    const DWORD length = GetFinalPathNameByHandleW(file, name.data(), size, VOLUME_NAME_DOS);
    if (length == 0 || length >= size) return std::nullopt;
    name.resize(length);
    constexpr std::wstring_view kLongShare = L"\\\\?\\UNC\\";
    constexpr std::wstring_view kLongName = L"\\\\?\\";
    if (name.starts_with(kLongShare)) return L"\\\\" + name.substr(kLongShare.size());
    if (name.starts_with(kLongName)) return name.substr(kLongName.size());
    return name;
}

void HandOver(HANDLE input, HANDLE pipe) {
    std::array<std::byte, 0x10000> buffer;
    DWORD count = 0;
    DWORD written = 0;
    if (WaitForReader(pipe)) {
        while (ReadFile(input, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) &&
               count > 0 && WriteFile(pipe, buffer.data(), count, &written, nullptr)) {
        }
    }
    CloseHandle(pipe);  // what was written is still there for the reader
}

// A pipe without a name is passed on through one that has one. The thread may wait for the input for good, so
// it goes with the process.
std::optional<InputName> PassOn(HANDLE input) {
    const std::filesystem::path name = PipeName(L"input");
    try {
        const HANDLE pipe = MakeOutboundPipe(name);
        std::thread(HandOver, input, pipe).detach();
    } catch (const std::system_error&) {
        return std::nullopt;
    }
    return InputName{name, false};
}

std::optional<InputName> FindName() {
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    const DWORD type = GetFileType(input);
    if (type == FILE_TYPE_DISK) {
        const std::optional<std::wstring> name = NameOf(input);
        if (const auto told = name ? NameForWorker(*name) : std::nullopt) return InputName{*told, true};
    }
    if (type != FILE_TYPE_DISK && type != FILE_TYPE_PIPE) return std::nullopt;
    return PassOn(input);
}

}  // namespace

std::optional<InputName> NameOfStandardInput() {
    static const std::optional<InputName> name = FindName();
    return name;
}

}  // namespace host::system
