// The host's two logs: UTF-16LE lines with an indentation that the messages themselves drive.
#pragma once

#include <cstdint>

class clString;

// The words that the host gives for its logs. 0 and all ones mean that there is none.
struct clLogHandles {
    std::uint64_t errorLog = 0;
    std::uint64_t reserved = 0;
    std::uint64_t traceLog = 0;
    clString* lastError = nullptr;  // takes the message of every error, when there is one
};

// Any thread may log; one decoder's lines and another's share one indentation. Logging never fails. The
// label is the name of the function that logs, in ASCII.
namespace clLog {

// Opens and closes a level of the indentation, as first and last message of a function.
inline constexpr const char16_t* kEnter = u"->->";
inline constexpr const char16_t* kLeave = u"<-<-";

// Writes one piece to the trace log; `endLine` ends the line, with the label when there is one. A null prefix
// is the indentation, or nothing when the piece before left its line open.
void Trace(const char16_t* message, const clLogHandles& decoder, const char* label, bool endLine = true,
           const char16_t* prefix = nullptr) noexcept;

// One line in both logs, marked as an error in the trace log.
void Error(const char16_t* message, const clLogHandles& decoder, const char* label) noexcept;

}  // namespace clLog
