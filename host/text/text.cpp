#include "host/text/text.h"

#include <system_error>

#include "decoder_plugin.hpp"

namespace host {

namespace {

// In seconds, some thirty years: counts of sample frames stay in their range.
constexpr double kLongestTime = 1e9;

char AsciiLower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

// A run of digits, and with `fraction` a dot and more of them; nothing for any other text.
std::optional<double> ParseDigits(std::string_view text, bool fraction) {
    double value = 0;
    double unit = 1;
    bool digits = false;
    bool dot = false;
    for (const char letter : text) {
        if (letter == '.' && fraction && digits && !dot) {
            dot = true;
            continue;
        }
        if (letter < '0' || letter > '9') return {};
        digits = true;
        if (dot) {
            unit /= 10;
            value += unit * (letter - '0');
        } else {
            value = value * 10 + (letter - '0');
        }
    }
    if (!digits) return {};
    return value;
}

}  // namespace

std::filesystem::path ToPath(const std::string& text) {
    return {std::u8string(text.begin(), text.end())};
}

std::string PathText(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

bool EqualIgnoringCase(std::string_view left, std::string_view right) {
    if (left.size() != right.size()) return false;
    for (std::size_t index = 0; index < left.size(); ++index) {
        if (AsciiLower(left[index]) != AsciiLower(right[index])) return false;
    }
    return true;
}

std::string WithoutBlanks(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(kBlanks) + 1 - first));
}

std::optional<double> ParseTime(std::string_view text) {
    constexpr std::size_t kMostFields = 3;
    const std::vector<std::string> fields = Split(text, ':');
    if (fields.size() > kMostFields) return {};
    double seconds = 0;
    for (std::size_t index = 0; index < fields.size(); ++index) {
        const bool last = index + 1 == fields.size();
        const std::optional<double> value = ParseDigits(fields[index], last);
        // Only the first field may pass its clock: 90:00 is a time and 1:90 isn't.
        if (!value || (index > 0 && *value >= 60)) return {};
        seconds = seconds * 60 + *value;
    }
    if (seconds > kLongestTime) return {};
    return seconds;
}

std::string FormatTime(std::uint64_t milliseconds, bool withMilliseconds) {
    const auto padded = [](std::uint64_t value, std::size_t width) {
        std::string digits = std::to_string(value);
        if (digits.size() < width) digits.insert(0, width - digits.size(), '0');
        return digits;
    };
    const std::uint64_t seconds = milliseconds / 1000;
    const std::uint64_t hours = seconds / 3600;
    std::string text =
        hours > 0 ? std::to_string(hours) + ":" + padded(seconds / 60 % 60, 2) : std::to_string(seconds / 60);
    text += ":" + padded(seconds % 60, 2);
    if (withMilliseconds) text += "." + padded(milliseconds % 1000, 3);
    return text;
}

std::string EscapeControls(std::string_view text) {
    constexpr const char* kHex = "0123456789ABCDEF";
    std::string escaped;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        const std::optional<char32_t> character = decoder_plugin::NextCharacter(text, position);
        if (!character) {
            const auto byte = static_cast<unsigned char>(text[position++]);
            escaped += std::string("\\x") + kHex[byte >> 4] + kHex[byte & 15];
        } else if (*character < 0x20 || (*character >= 0x7F && *character < 0xA0)) {
            escaped += std::string("\\u00") + kHex[*character >> 4] + kHex[*character & 15];
        } else {
            escaped += text.substr(start, position - start);
        }
    }
    return escaped;
}

std::vector<std::string> Split(std::string_view text, char separator) {
    std::vector<std::string> pieces;
    for (;;) {
        const std::size_t end = text.find(separator);
        pieces.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) return pieces;
        text.remove_prefix(end + 1);
    }
}

std::string Joined(const std::vector<std::string>& pieces, std::string_view separator) {
    std::string text;
    for (const std::string& piece : pieces) {
        if (&piece != &pieces.front()) text += separator;
        text += piece;
    }
    return text;
}

std::string ErrnoText(int code) {
    return std::generic_category().message(code);
}

}  // namespace host
