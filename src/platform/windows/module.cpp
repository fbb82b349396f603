#include "platform/module.h"

#include <winsock2.h>

#include <array>

#include "platform/codepage.h"
#include "platform/windows/handles.h"

namespace platform {

const char kPathSeparator = '\\';

namespace {

constexpr DWORD kLongestPath = 1000;

// The runtimes inside the library take a slot of thread-local storage and some handles at each load, and
// nothing gives those back: near its 1,081st load a host would have no slot left and be ended. So the first
// load lasts as long as the process.
HMODULE StayLoaded() noexcept {
    HMODULE module = nullptr;
    constexpr DWORD kForGood = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN;
    GetModuleHandleExW(kForGood, reinterpret_cast<const wchar_t*>(&kPathSeparator), &module);
    return module;
}

std::string PathOf(HMODULE module) noexcept {
    if (module == nullptr) return {};
    std::array<char16_t, kLongestPath> path;
    const DWORD units = GetModuleFileNameW(module, reinterpret_cast<wchar_t*>(path.data()), kLongestPath);
    try {
        return FromWide(CodePage::Utf8, std::u16string_view(path.data(), units));
    } catch (...) {
        return {};
    }
}

std::string& StoredPath() noexcept {
    static std::string path;
    return path;
}

}  // namespace

const std::string& ModulePath() noexcept {
    return StoredPath();
}

// Runs under the loader lock: nothing here may wait for another thread.
LibraryScope::LibraryScope() noexcept {
    StoredPath() = PathOf(StayLoaded());
    WSADATA unused;
    WSAStartup(MAKEWORD(2, 2), &unused);
}

LibraryScope::~LibraryScope() {
    WSACleanup();
}

}  // namespace platform
