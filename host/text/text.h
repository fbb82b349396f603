// Text between the forms that people, files and the plug-in use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// A path from an argument, and a path as it is shown to the user: UTF-8, or on Linux whatever bytes it has.
std::filesystem::path ToPath(const std::string& text);
std::string PathText(const std::filesystem::path& path);

// With the letters A to Z taken as a to z, and nothing else folded.
bool EqualIgnoringCase(std::string_view left, std::string_view right);

// Without blanks, tabs and line ends around it.
std::string WithoutBlanks(std::string_view text);

// "SECONDS[.FRACTION]" or "[HOURS:]MINUTES:SECONDS[.FRACTION]"; nothing when it is neither.
std::optional<double> ParseTime(std::string_view text);

// As "3:05" or "1:02:03", with milliseconds behind a dot when asked.
std::string FormatTime(std::uint64_t milliseconds, bool withMilliseconds);

// Line ends and other control characters made visible, for text that goes to a terminal.
std::string EscapeControls(std::string_view text);

// The pieces between the separators; always at least one.
std::vector<std::string> Split(std::string_view text, char separator);

std::string Joined(const std::vector<std::string>& pieces, std::string_view separator);

// What errno means, in the system's words.
std::string ErrnoText(int code);

}  // namespace host
