// The exceptions of the decode path, each with a fixed text.
#pragma once

#include <cstdint>
#include <stdexcept>

namespace Qel {

// A thread couldn't be created, a signal couldn't be duplicated.
struct bug_check : std::runtime_error {
    bug_check() : std::runtime_error("bug check") {}
};

// What was read isn't what has to stand there: short exact reads, a bad stream header, an overlong line.
struct invalid_input : std::runtime_error {
    invalid_input() : std::runtime_error("invalid input") {}
};

// The thread's current aborter was set. No error: nothing is logged for it.
struct user_abort : std::runtime_error {
    user_abort() : std::runtime_error("user abort") {}
};

struct network_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct network_error_timeout : network_error {
    network_error_timeout() : network_error("network timeout") {}
};

struct file_access_error : std::runtime_error {
    file_access_error() : std::runtime_error("file access error") {}
    using std::runtime_error::runtime_error;
};

struct file_not_found : file_access_error {
    file_not_found() : file_access_error("file not found") {}
};

struct file_already_exists : file_access_error {
    file_already_exists() : file_access_error("file already exists") {}
};

struct directory_not_empty : file_access_error {
    directory_not_empty() : file_access_error("directory not empty") {}
};

// Raises the class that belongs to an error number of platform/error.h.
[[noreturn]] void RaiseForWin32Error(std::uint32_t code);

}  // namespace Qel
