// This library as the system loaded it.
#pragma once

#include <string_view>

namespace platform {

// Between the folders of a path of this system.
extern const char kPathSeparator;

// Full path of the library that holds this code, in UTF-8, as it was loaded: absolute, symbolic links not
// followed; empty when it can't be told. Taken when the library was loaded, so a later change of the working
// directory doesn't matter, and there until it is unloaded.
std::string_view ModulePath() noexcept;

}  // namespace platform
