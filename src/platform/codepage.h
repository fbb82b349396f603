// 8-bit text to UTF-16 and back.
#pragma once

#include <string>
#include <string_view>

namespace platform {

enum class CodePage {
    Ansi = 0,        // the system's own; Windows-1252 where there is none
    Latin1 = 28591,  // ISO 8859-1
    Utf8 = 65001,
};

// Invalid UTF-8 becomes U+FFFD, one or more for a broken sequence as the system counts them. NULs are text
// like any other.
std::u16string ToWide(CodePage page, std::string_view bytes);

// What the code page doesn't have becomes the system's substitute, at least a "?"; a lone surrogate becomes
// U+FFFD in UTF-8.
std::string FromWide(CodePage page, std::u16string_view text);

// File names and what else the system gives and takes as bytes of its own: UTF-8 as a rule. Where names are
// any bytes, one that is no part of UTF-8 travels as a lone surrogate, U+DC80 to U+DCFF for 0x80 to 0xFF, and
// becomes that byte again.
std::u16string NameToWide(std::string_view bytes);
std::string NameFromWide(std::u16string_view name);

}  // namespace platform
