#include "platform/module.h"

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace platform {

const char kPathSeparator = '/';

namespace {

// A library that was loaded by a relative path keeps that path as its name.
std::string LoadedPath() noexcept {
    try {
        Dl_info info{};
        if (dladdr(reinterpret_cast<const void*>(&kPathSeparator), &info) == 0 || info.dli_fname == nullptr) {
            return {};
        }
        std::error_code failure;
        std::filesystem::path path = std::filesystem::absolute(info.dli_fname, failure);
        // Behind a link, ".." leads elsewhere than the text says.
        if (std::find(path.begin(), path.end(), "..") != path.end()) {
            path = std::filesystem::canonical(path.parent_path(), failure) / path.filename();
        }
        return failure ? std::string(info.dli_fname) : path.lexically_normal().string();
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

LibraryScope::LibraryScope() noexcept {
    StoredPath() = LoadedPath();
}

LibraryScope::~LibraryScope() = default;

}  // namespace platform
