#include "platform/codepage.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace platform {

namespace {

constexpr char16_t kReplacement = u'\uFFFD';
constexpr char kSubstitute = '?';

// Windows-1252 from 0x80 to 0x9F; all other bytes are their own code points. Its five unassigned bytes map
// to the control characters of the same number, so that every byte survives a round trip.
constexpr std::array<char16_t, 32> kAnsiHigh{0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                             0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                             0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                             0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

constexpr unsigned kAnsiHighStart = 0x80;

char16_t AnsiToUnit(unsigned char byte) noexcept {
    const unsigned index = byte - kAnsiHighStart;
    return byte >= kAnsiHighStart && index < kAnsiHigh.size() ? kAnsiHigh[index] : char16_t{byte};
}

char UnitToAnsi(char16_t unit) noexcept {
    const auto* found = std::find(kAnsiHigh.begin(), kAnsiHigh.end(), unit);
    if (found != kAnsiHigh.end()) {
        return static_cast<char>(kAnsiHighStart + static_cast<unsigned>(found - kAnsiHigh.begin()));
    }
    const bool own = unit < kAnsiHighStart || (unit >= 0xA0 && unit <= 0xFF);
    return own ? static_cast<char>(unit) : kSubstitute;
}

bool IsHighSurrogate(char16_t unit) noexcept {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(char16_t unit) noexcept {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void AppendUnits(std::u16string& text, std::uint32_t point) {
    if (point < 0x10000) {
        text += static_cast<char16_t>(point);
        return;
    }
    text += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
    text += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
}

// What may follow a lead byte: how many continuation bytes, and the bounds of the first of them, which
// exclude overlong forms, surrogates and what lies above U+10FFFF (Unicode, table 3-7).
struct Sequence {
    unsigned more;
    unsigned low;
    unsigned high;
};

Sequence SequenceOf(unsigned lead) noexcept {
    if (lead >= 0xC2 && lead <= 0xDF) return {1, 0x80, 0xBF};
    if (lead == 0xE0) return {2, 0xA0, 0xBF};
    if (lead == 0xED) return {2, 0x80, 0x9F};
    if (lead >= 0xE1 && lead <= 0xEF) return {2, 0x80, 0xBF};
    if (lead == 0xF0) return {3, 0x90, 0xBF};
    if (lead >= 0xF1 && lead <= 0xF3) return {3, 0x80, 0xBF};
    if (lead == 0xF4) return {3, 0x80, 0x8F};
    return {0, 0, 0};
}

// What stands for bytes that are no part of UTF-8, and for what UTF-8 has no bytes for.
enum class Strays { Replaced, Escaped };

constexpr char16_t kEscapes = 0xDC00;  // and the byte, which is 0x80 or more

bool IsEscape(char16_t unit) noexcept {
    return unit >= kEscapes + 0x80 && unit <= kEscapes + 0xFF;
}

std::u16string FromUtf8Bytes(std::string_view bytes, Strays strays) {
    std::u16string text;
    text.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t start = i;
        const auto lead = static_cast<unsigned char>(bytes[i++]);
        if (lead < 0x80) {
            text += char16_t{lead};
            continue;
        }
        auto [more, low, high] = SequenceOf(lead);
        std::uint32_t point = more == 1 ? lead & 0x1FU : more == 2 ? lead & 0x0FU : lead & 0x07U;
        bool whole = more > 0;
        for (; more > 0 && whole; --more, low = 0x80, high = 0xBF) {
            const unsigned next = i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U;
            whole = next >= low && next <= high;
            if (!whole) break;
            point = (point << 6) | (next & 0x3FU);
            ++i;
        }
        if (whole) {
            AppendUnits(text, point);
        } else if (strays == Strays::Escaped) {
            // What a broken sequence holds behind its first byte is looked at anew.
            text += static_cast<char16_t>(kEscapes + lead);
            i = start + 1;
        } else {
            text += kReplacement;
        }
    }
    return text;
}

void AppendUtf8(std::string& bytes, std::uint32_t point) {
    const auto put = [&bytes](std::uint32_t value) { bytes += static_cast<char>(value); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xC0 | (point >> 6));
        put(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        put(0xE0 | (point >> 12));
        put(0x80 | ((point >> 6) & 0x3F));
        put(0x80 | (point & 0x3F));
    } else {
        put(0xF0 | (point >> 18));
        put(0x80 | ((point >> 12) & 0x3F));
        put(0x80 | ((point >> 6) & 0x3F));
        put(0x80 | (point & 0x3F));
    }
}

std::string ToUtf8Bytes(std::u16string_view text, Strays strays) {
    std::string bytes;
    bytes.reserve(text.size() * 3);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (IsHighSurrogate(unit) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
            const std::uint32_t high = unit - 0xD800U;
            const std::uint32_t low = text[++i] - 0xDC00U;
            AppendUtf8(bytes, 0x10000 + (high << 10) + low);
        } else if (strays == Strays::Escaped && IsEscape(unit)) {
            bytes += static_cast<char>(unit - kEscapes);
        } else {
            AppendUtf8(bytes, IsHighSurrogate(unit) || IsLowSurrogate(unit) ? kReplacement : unit);
        }
    }
    return bytes;
}

}  // namespace

std::u16string ToWide(CodePage page, std::string_view bytes) {
    if (page == CodePage::Utf8) return FromUtf8Bytes(bytes, Strays::Replaced);
    std::u16string text;
    text.reserve(bytes.size());
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += page == CodePage::Ansi ? AnsiToUnit(value) : char16_t{value};
    }
    return text;
}

std::string FromWide(CodePage page, std::u16string_view text) {
    if (page == CodePage::Utf8) return ToUtf8Bytes(text, Strays::Replaced);
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (page == CodePage::Latin1) {
            bytes += unit <= 0xFF ? static_cast<char>(unit) : kSubstitute;
        } else {
            bytes += UnitToAnsi(unit);
        }
        // A character of two units has no place in either page and becomes one substitute.
        if (IsHighSurrogate(unit) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) ++i;
    }
    return bytes;
}

std::u16string NameToWide(std::string_view bytes) {
    return FromUtf8Bytes(bytes, Strays::Escaped);
}

std::string NameFromWide(std::u16string_view name) {
    return ToUtf8Bytes(name, Strays::Escaped);
}

}  // namespace platform
