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

}  // namespace

void setFrameText(id3frame& frame, std::string_view text, const WriteSettings& settings) {
    startBody(frame, settings.encoding);
    if (!appendEncoded(frame, text, settings.encoding)) throw writeError();
}

void appendFrameText(id3frame& frame, std::string_view text) {
    if (frame.data.empty()) throw parseError();
    if (!appendEncoded(frame, text, std::to_integer<unsigned>(frame.data.front()))) throw parseError();
}

void setFrameAnsi(id3frame& frame, std::string_view text) {
    startBody(frame, kEncodingAnsi);
    appendAnsi(frame, text);
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
    id3frame upgraded;
    upgraded.id = frame.id;
    WriteSettings settings;
    settings.encoding = kEncodingUtf16;
    TextCursor cursor;
    setFrameText(upgraded, frameText(frame, false, 0, cursor), settings);
    for (std::size_t i = 1; i < count; ++i) appendFrameText(upgraded, frameText(frame, false, i, cursor));
    std::copy_n(frame.data.begin() + 1, textHeaderBytes(frame.id) - 1, upgraded.data.begin() + 1);
    frame.data = std::move(upgraded.data);
}

}  // namespace id3parser
