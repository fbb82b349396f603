#include "platform/module.h"

#include <winsock2.h>

#include <array>
#include <string>

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

// From load to unload. Runs under the loader lock: nothing here may wait for another thread. The path is no
// object that goes before the last call of a host that is exiting.
class LibraryScope {
  public:
    LibraryScope() noexcept {
        const std::string path = PathOf(StayLoaded());
        if (path.size() <= sizeof path_) size_ = path.copy(path_, path.size());
        WSADATA unused;
        WSAStartup(MAKEWORD(2, 2), &unused);
    }
    ~LibraryScope() { WSACleanup(); }
    LibraryScope(const LibraryScope&) = delete;
    LibraryScope& operator=(const LibraryScope&) = delete;

    std::string_view Path() const noexcept { return {path_, size_}; }

  private:
    char path_[3 * kLongestPath] = {};  // a unit of UTF-16 is three bytes at most
    std::size_t size_ = 0;
};

const LibraryScope libraryScope;

}  // namespace

std::string_view ModulePath() noexcept {
    return libraryScope.Path();
}

}  // namespace platform
