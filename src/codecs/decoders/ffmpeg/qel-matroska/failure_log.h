// How the entry points tell of failures.
#pragma once

#include <exception>

#include "support/cllog.h"
#include "support/clstring.h"

namespace Matroska {

// Runs the step under the one catch of an operation. A failure is logged as `prefix` and its text under the
// function's label; an abort is silent.
template <typename Step>
bool RunLogged(Step step, const char16_t* prefix, const clLogHandles& log, const char* label);

// The file couldn't be opened; `format` has one %s for the reason. Called before the last error changes.
void LogOpenFailure(const char16_t* format, const char16_t* path, const clLogHandles& log, const char* label);

void LogFailure(const char16_t* prefix, const char* what, const clLogHandles& log, const char* label);

// What destructors had to swallow during the operation.
void LogNotedAssertion(const clLogHandles& log, const char* label);

}  // namespace Matroska

#include "transport/exceptions.h"

template <typename Step>
bool Matroska::RunLogged(Step step, const char16_t* prefix, const clLogHandles& log, const char* label) {
    bool done = false;
    try {
        step();
        done = true;
    } catch (const Qel::user_abort&) {
    } catch (const std::exception& failure) {
        LogFailure(prefix, failure.what(), log, label);
    }
    LogNotedAssertion(log, label);
    return done;
}
