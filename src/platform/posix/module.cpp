#include "platform/module.h"

#include <dlfcn.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <string>
#include <system_error>
#include <type_traits>

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

// Nothing that is destroyed when the process exits: a host may go on calling then.
struct StoredPath {
    StoredPath() noexcept {
        const std::string path = LoadedPath();
        if (path.size() > sizeof text) return;
        path.copy(text, path.size());
        size = path.size();
    }

    char text[PATH_MAX] = {};
    std::size_t size = 0;
};

const StoredPath storedPath;
static_assert(std::is_trivially_destructible_v<StoredPath>);

}  // namespace

std::string_view ModulePath() noexcept {
    return {storedPath.text, storedPath.size};
}

}  // namespace platform
