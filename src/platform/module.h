// This library as the system loaded it.
#pragma once

#include <string>

namespace platform {

// Between the folders of a path of this system.
extern const char kPathSeparator;

// Full path of the library that holds this code, in UTF-8, as it was loaded: absolute, symbolic links not
// followed. Taken when the library was loaded, so a later change of the working directory doesn't matter.
const std::string& ModulePath() noexcept;

// What a library needs of the system from load to unload. One static object of it.
class LibraryScope {
  public:
    LibraryScope() noexcept;
    ~LibraryScope();
    LibraryScope(const LibraryScope&) = delete;
    LibraryScope& operator=(const LibraryScope&) = delete;
};

}  // namespace platform
