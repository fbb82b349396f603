// The ways in which a command ends early.
#pragma once

#include <stdexcept>

namespace host {

// A failure that the user hears of in one line; exit code 1.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A command line that makes no sense; exit code 2.
struct UsageFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The user broke off; nothing is said.
struct Interruption {
    int exitCode;
};

}  // namespace host
