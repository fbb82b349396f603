#include "tags/id3v2/frame_text.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "platform/codepage.h"

namespace id3parser {

namespace {

constexpr std::string_view kLanguage = "eng";
constexpr std::string_view kLittleEndianMark = "\xFF\xFE";

void appendByte(id3frame& frame, unsigned byte) {
    frame.data.push_back(static_cast<std::byte>(byte));
}

void appendAnsi(id3frame& frame, std::string_view text) {
    appendBytes(frame, utf8ToAnsi(text));
    appendByte(frame, 0);
}

void appendUnits(id3frame& frame, std::string_view text) {
    appendBytes(frame, kLittleEndianMark);
    std::u16string units = platform::ToWide(platform::CodePage::Utf8, text);
    units += u'\0';
    for (const char16_t unit : units) {
        appendByte(frame, unit & 0xFFU);
        appendByte(frame, static_cast<unsigned>(unit) >> 8);
    }
}

void appendUtf8(id3frame& frame, std::string_view text) {
    appendBytes(frame, text);
    appendByte(frame, 0);
}

void startBody(id3frame& frame, unsigned encoding) {
    frame.data.clear();
    appendByte(frame, encoding);
    if (textHeaderBytes(frame.id) > 1) appendBytes(frame, kLanguage);
}

// False for an encoding that isn't written.
bool appendEncoded(id3frame& frame, std::string_view text, unsigned encoding) {
    switch (encoding) {
        case kEncodingAnsi:
            appendAnsi(frame, text);
            return true;
        case kEncodingUtf16:
            appendUnits(frame, text);
            return true;
        case kEncodingUtf8:
            appendUtf8(frame, text);
            return true;
        default:
            return false;
    }
}

// The single-byte encoding has a "?" for what its code page lacks; such text takes the encoding that has it.
std::uint8_t encodingFor(const std::vector<std::string_view>& texts, std::uint8_t wanted) {
    const bool fits = wanted != kEncodingAnsi || std::all_of(texts.begin(), texts.end(), isAnsiText);
    return fits ? wanted : std::uint8_t{kEncodingUtf16};
}

}  // namespace

void setFrameText(id3frame& frame, const std::vector<std::string_view>& texts,
                  const WriteSettings& settings) {
    const std::uint8_t encoding = encodingFor(texts, settings.encoding);
    startBody(frame, encoding);
    for (const std::string_view text : texts) {
        if (!appendEncoded(frame, text, encoding)) throw writeError();
    }
}

void appendPictureDescription(id3frame& frame, std::string_view text) {
    if (isAnsiText(text)) return appendUtf8(frame, text);
    frame.data.front() = std::byte{kEncodingUtf16};
    appendUnits(frame, text);
}

void appendBytes(id3frame& frame, std::string_view bytes) {
    const auto* first = reinterpret_cast<const std::byte*>(bytes.data());
    frame.data.insert(frame.data.end(), first, first + bytes.size());
}

void upgradeFrameEncoding(id3frame& frame) {
    if (frame.data.size() < textHeaderBytes(frame.id)) throw parseError();
    const auto encoding = std::to_integer<unsigned>(frame.data.front());
    if (encoding == kEncodingAnsi || encoding == kEncodingUtf16) return;

    const std::size_t count = frameTextCount(frame);
    if (count == 0) throw parseError();
    std::vector<std::string> texts;
    TextCursor cursor;
    for (std::size_t i = 0; i < count; ++i) texts.push_back(frameText(frame, false, i, cursor));
    id3frame upgraded;
    upgraded.id = frame.id;
    WriteSettings settings;
    settings.encoding = kEncodingUtf16;
    setFrameText(upgraded, {texts.begin(), texts.end()}, settings);
    std::copy_n(frame.data.begin() + 1, textHeaderBytes(frame.id) - 1, upgraded.data.begin() + 1);
    frame.data = std::move(upgraded.data);
}

}  // namespace id3parser
