// Text between the forms that people, files and the plug-in use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

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

// Throws Failure for text that isn't UTF-8.
std::u16string ToUtf16(std::string_view text);

// Surrogates that stand alone become U+FFFD.
std::string ToUtf8(std::u16string_view text);

// A path from an argument, and a path as it is shown to the user.
std::filesystem::path ToPath(const std::string& text);
std::string PathText(const std::filesystem::path& path);

// With the letters A to Z taken as a to z, and nothing else folded.
bool EqualIgnoringCase(std::string_view left, std::string_view right);

// "SECONDS[.FRACTION]" or "[HOURS:]MINUTES:SECONDS[.FRACTION]"; nothing when it is neither.
std::optional<double> ParseTime(std::string_view text);

// As "3:05" or "1:02:03", with milliseconds behind a dot when asked.
std::string FormatTime(std::uint64_t milliseconds, bool withMilliseconds);

// Line ends and other control characters made visible, for text that goes to a terminal.
std::string EscapeControls(std::string_view text);

// The pieces between the separators; always at least one.
std::vector<std::string> Split(std::string_view text, char separator);

// To standard output. Throws Failure when it doesn't take everything.
void Print(std::string_view text);
void FlushOutput();

// A line to standard error: the program's name, then the text with its line ends taken out.
void PrintError(std::string_view text);

// What errno means, in the system's words.
std::string ErrnoText(int code);

}  // namespace host
