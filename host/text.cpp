#include "text.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "system.h"

namespace host {

namespace {

// In seconds, some thirty years: counts of sample frames stay in their range.
constexpr double kLongestTime = 1e9;
constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kInvalid = 0xFFFFFFFF;

bool IsHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool IsLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

char AsciiLower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

// One character and the advance behind it; kInvalid for anything that isn't UTF-8 in its shortest form.
char32_t NextUtf8(std::string_view text, std::size_t& position) {
    struct Form {
        unsigned mask;
        unsigned lead;
        std::size_t length;
        char32_t least;
    };
    static constexpr Form kForms[] = {
        {0x80, 0x00, 1, 0x0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

    const auto first = static_cast<unsigned char>(text[position]);
    for (const Form& form : kForms) {
        if ((first & form.mask) != form.lead) continue;
        if (text.size() - position < form.length) return kInvalid;
        char32_t character = first & ~form.mask;
        for (std::size_t index = 1; index < form.length; ++index) {
            const auto byte = static_cast<unsigned char>(text[position + index]);
            if ((byte & 0xC0) != 0x80) return kInvalid;
            character = (character << 6) | (byte & 0x3F);
        }
        if (character < form.least || character > 0x10FFFF) return kInvalid;
        if (character >= 0xD800 && character < 0xE000) return kInvalid;
        position += form.length;
        return character;
    }
    return kInvalid;
}

void AppendUtf8(std::string& text, char32_t character) {
    const auto tail = [&](int shift) { text += static_cast<char>(0x80 | ((character >> shift) & 0x3F)); };
    if (character < 0x80) {
        text += static_cast<char>(character);
    } else if (character < 0x800) {
        text += static_cast<char>(0xC0 | (character >> 6));
        tail(0);
    } else if (character < 0x10000) {
        text += static_cast<char>(0xE0 | (character >> 12));
        tail(6);
        tail(0);
    } else {
        text += static_cast<char>(0xF0 | (character >> 18));
        tail(12);
        tail(6);
        tail(0);
    }
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

std::u16string ToUtf16(std::string_view text) {
    std::u16string wide;
    wide.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const char32_t character = NextUtf8(text, position);
        if (character == kInvalid) throw Failure("text that isn't UTF-8: " + EscapeControls(text));
        if (character < 0x10000) {
            wide += static_cast<char16_t>(character);
        } else {
            wide += static_cast<char16_t>(0xD7C0 + (character >> 10));
            wide += static_cast<char16_t>(0xDC00 + (character & 0x3FF));
        }
    }
    return wide;
}

std::string ToUtf8(std::u16string_view text) {
    std::string narrow;
    narrow.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index) {
        char32_t character = text[index];
        if (IsHighSurrogate(character) && index + 1 < text.size() && IsLowSurrogate(text[index + 1])) {
            ++index;
            character = 0x10000 + ((character - 0xD800) << 10) + (text[index] - 0xDC00u);
        } else if (IsHighSurrogate(character) || IsLowSurrogate(character)) {
            character = kReplacement;
        }
        AppendUtf8(narrow, character);
    }
    return narrow;
}

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
        char32_t character = NextUtf8(text, position);
        if (character == kInvalid) {
            character = static_cast<unsigned char>(text[position++]);
            escaped += std::string("\\x") + kHex[character >> 4] + kHex[character & 15];
        } else if (character < 0x20 || (character >= 0x7F && character < 0xA0)) {
            escaped += std::string("\\u00") + kHex[character >> 4] + kHex[character & 15];
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

void Print(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
        throw Failure("can't write to standard output: " + ErrnoText(errno));
    }
}

void FlushOutput() {
    if (std::fflush(stdout) != 0) throw Failure("can't write to standard output: " + ErrnoText(errno));
}

void PrintError(std::string_view text) {
    std::string line = "decoder-host: ";
    for (const char letter : text) line += letter == '\n' || letter == '\r' ? ' ' : letter;
    if (system::IsTerminal(stderr)) line = EscapeControls(line);
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

std::string ErrnoText(int code) {
    return std::generic_category().message(code);
}

}  // namespace host
