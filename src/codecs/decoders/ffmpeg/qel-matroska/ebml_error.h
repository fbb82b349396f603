// Failures of the EBML layer, and assertions that stay active in every build.
#pragma once

#include <stdexcept>

namespace EBML {

inline constexpr const char* kCorruptedText = "Corrupted file or unsupported format";

struct ParseError : std::runtime_error {
    ParseError() : std::runtime_error(kCorruptedText) {}
    using std::runtime_error::runtime_error;
};

// The file can't be read or written, so nothing is known of what stands there.
struct FileError : ParseError {};

struct OverflowError : ParseError {
    OverflowError() : ParseError("Overflow") {}
};

// A false condition raises a ParseError with the text.
void Assert(bool condition, const char* text);

// For destructors, which mustn't raise: a false condition keeps the text for TakeNotedAssertion.
void NoteUnless(bool condition, const char* text) noexcept;

// The text that the calling thread noted first since the last call, or null.
const char* TakeNotedAssertion() noexcept;

}  // namespace EBML
