// The conversion of what a worker is started with.
#pragma once

#include <string>
#include <string_view>

namespace platform::windows {

// One UTF-16 unit for each character: one above U+FFFF loses its upper bits, for no surrogates are made. A
// NUL ends the text, and so does, silently, the first sequence that is broken, overlong (3 bytes and more) or
// begins with 0xC0 or 0xC1. Sequences of up to 6 bytes are read.
std::u16string FromUtf8(std::string_view bytes);

// Whether FromUtf8 makes a character of ASCII out of one above U+FFFF: U+10022 becomes a quotation mark,
// U+1005C a backslash.
bool BecomesAscii(std::string_view bytes) noexcept;

}  // namespace platform::windows
