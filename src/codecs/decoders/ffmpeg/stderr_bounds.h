// Where the dump of the first input begins and ends in the worker's error text.
#pragma once

#include <string_view>

// Carried along line by line.
struct StdErrBounds {
    static constexpr std::string_view kIndent = "  ";  // of all lines of the dump but its first
    static constexpr std::string_view kInputStart = "Input #0,";

    bool inInput = false;  // the dump has begun
    bool done = false;     // and ended: a line that isn't indented stood behind it

    // True for a line inside the dump. The dump's first line and the one that ends it change the state alone.
    constexpr bool Pass(std::string_view line) noexcept {
        if (done) return false;
        if (line.starts_with(kIndent)) return inInput;
        if (inInput) {
            done = true;
        } else {
            inInput = line.starts_with(kInputStart);
        }
        return false;
    }
};
