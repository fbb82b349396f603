#include "tags/id3v2/frames.h"

#include <algorithm>

#include "platform/codepage.h"

namespace id3parser {

namespace {

using platform::CodePage;

constexpr char16_t kByteOrderMark = 0xFEFF;
constexpr char16_t kSwappedMark = 0xFFFE;
constexpr std::uint8_t kPictureTypes = 21;

std::string_view textOf(std::span<const std::byte> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string_view upToNul(std::span<const std::byte> bytes) {
    const std::string_view text = textOf(bytes);
    return text.substr(0, text.find('\0'));
}

bool isAscii(std::string_view text) {
    return std::none_of(text.begin(), text.end(), [](char letter) { return (letter & 0x80) != 0; });
}

std::string toUtf8(CodePage page, std::string_view text) {
    if (isAscii(text)) return std::string(text);
    return platform::FromWide(CodePage::Utf8, platform::ToWide(page, text));
}

bool isValidUtf8(std::string_view text) {
    return platform::FromWide(CodePage::Utf8, platform::ToWide(CodePage::Utf8, text)) == text;
}

char16_t unitAt(std::span<const std::byte> bytes, std::size_t index, bool bigEndian) {
    const auto first = std::to_integer<unsigned>(bytes[2 * index]);
    const auto second = std::to_integer<unsigned>(bytes[2 * index + 1]);
    return static_cast<char16_t>(bigEndian ? (first << 8) | second : (second << 8) | first);
}

std::string decodeUnits(std::span<const std::byte> bytes, std::size_t from, bool bigEndian) {
    std::u16string units;
    for (std::size_t i = from; i < bytes.size() / 2; ++i) {
        const char16_t unit = unitAt(bytes, i, bigEndian);
        if (unit == 0) break;
        units += unit;
    }
    return platform::FromWide(CodePage::Utf8, units);
}

std::string decodeMarkedUnits(std::span<const std::byte> bytes, bool strict) {
    const char16_t first = bytes.size() < 2 ? char16_t{0} : unitAt(bytes, 0, false);
    if (first == kByteOrderMark) return decodeUnits(bytes, 1, false);
    if (first == kSwappedMark) return decodeUnits(bytes, 1, true);
    if (strict) throw parseError();
    return decodeUnits(bytes, 0, false);
}

// A body as a row of units, one or two bytes wide.
struct TextUnits {
    unsigned encoding;
    std::span<const std::byte> bytes;
    std::size_t width;

    std::size_t count() const { return bytes.size() / width; }
    bool isNul(std::size_t index) const {
        const auto unit = bytes.subspan(index * width, width);
        return std::all_of(unit.begin(), unit.end(), [](std::byte byte) { return byte == std::byte{0}; });
    }
    // The first NUL at or behind the unit, or count().
    std::size_t findNul(std::size_t index) const {
        if (width == 1) {
            const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(index);
            return static_cast<std::size_t>(std::find(from, bytes.end(), std::byte{0}) - bytes.begin());
        }
        while (index < count() && !isNul(index)) ++index;
        return index;
    }
};

TextUnits unitsOf(unsigned encoding, std::span<const std::byte> bytes) {
    const bool wide = encoding == kEncodingUtf16 || encoding == kEncodingUtf16Big;
    return {encoding, bytes, wide ? std::size_t{2} : std::size_t{1}};
}

TextUnits textUnits(const id3frame& frame) {
    const std::size_t header = textHeaderBytes(frame.id);
    if (frame.data.size() < header) throw parseError();
    return unitsOf(std::to_integer<unsigned>(frame.data[0]), std::span(frame.data).subspan(header));
}

// Where the picture type stands: behind the NUL that ends the MIME type.
std::size_t pictureTypeAt(std::span<const std::byte> body) {
    if (body.size() < 2) throw parseError();
    const TextUnits mime = unitsOf(kEncodingAnsi, body.subspan(1));
    const std::size_t end = mime.findNul(0);
    if (end == mime.count() || end + 1 == mime.count()) throw parseError();
    return 1 + end + 1;
}

}  // namespace

std::size_t textHeaderBytes(std::uint32_t id) noexcept {
    return id == kCommentFrame || id == kLyricsFrame ? 1 + kLanguageBytes : 1;
}

std::size_t frameTextCount(const id3frame& frame) {
    const TextUnits units = textUnits(frame);
    if (units.encoding > kEncodingUtf8) throw parseError();
    std::size_t strings = 0;
    std::size_t from = 0;
    for (std::size_t nul = units.findNul(0); nul < units.count(); nul = units.findNul(from)) {
        if (++strings > kMostStrings) throw parseError();
        from = nul + 1;
    }
    return from < units.count() ? strings + 1 : strings;
}

std::string frameText(const id3frame& frame, bool strict, std::size_t index, TextCursor& cursor) {
    const TextUnits units = textUnits(frame);
    if (cursor.count > index) cursor = {};
    std::size_t position = cursor.position;
    while (cursor.count < index && position < units.count()) {
        position = units.findNul(position);
        if (position == units.count()) break;
        ++cursor.count;
        while (position < units.count() && units.isNul(position)) ++position;
    }
    cursor.position = position;
    return decodeText(units.encoding, units.bytes.subspan(position * units.width), strict);
}

std::string decodeText(unsigned encoding, std::span<const std::byte> bytes, bool strict) {
    switch (encoding) {
        case kEncodingAnsi: {
            const std::string_view text = upToNul(bytes);
            if (strict && !isAscii(text)) throw parseError();
            return toUtf8(CodePage::Ansi, text);
        }
        case kEncodingUtf16:
            return decodeMarkedUnits(bytes, strict);
        case kEncodingUtf16Big:
            return decodeUnits(bytes, 0, true);
        case kEncodingUtf8: {
            const std::string_view text = upToNul(bytes);
            if (isAscii(text) || isValidUtf8(text)) return std::string(text);
            if (strict) throw parseError();
            return toUtf8(CodePage::Ansi, text);
        }
        default:
            throw parseError();
    }
}

std::string frameUrlAfterDescription(const id3frame& frame) {
    if (frame.data.empty()) throw parseError();
    const auto encoding = std::to_integer<unsigned>(frame.data[0]);
    if (encoding > kEncodingUtf8) throw parseError();
    const TextUnits description = unitsOf(encoding, std::span(frame.data).subspan(1));
    const std::size_t end = description.findNul(0);
    if (end == description.count()) throw parseError();
    return toUtf8(CodePage::Latin1, upToNul(description.bytes.subspan((end + 1) * description.width)));
}

std::string frameUrl(const id3frame& frame) {
    if (frame.data.empty()) throw parseError();
    return toUtf8(CodePage::Latin1, upToNul(frame.data));
}

PictureFields pictureFields(std::span<const std::byte> body) {
    const std::size_t typeAt = pictureTypeAt(body);
    PictureFields fields;
    fields.type = std::to_integer<std::uint8_t>(body[typeAt]);
    if (fields.type >= kPictureTypes) fields.type = 0;

    const auto encoding = std::to_integer<unsigned>(body[0]);
    if (encoding > kEncodingUtf8) throw parseError();
    const TextUnits description = unitsOf(encoding, body.subspan(typeAt + 1));
    const std::size_t end = description.findNul(0);
    if (end == description.count()) throw parseError();
    fields.image = description.bytes.subspan((end + 1) * description.width);
    if (fields.image.empty()) throw parseError();
    return fields;
}

std::string pictureDescription(std::span<const std::byte> body) {
    const std::size_t from = pictureTypeAt(body) + 1;
    if (from >= body.size()) throw parseError();
    return decodeText(std::to_integer<unsigned>(body[0]), body.subspan(from), false);
}

std::string ansiToUtf8(std::string_view text) {
    return toUtf8(CodePage::Ansi, text);
}

std::string utf8ToAnsi(std::string_view text) {
    if (isAscii(text)) return std::string(text);
    return platform::FromWide(CodePage::Ansi, platform::ToWide(CodePage::Utf8, text));
}

bool isAnsiText(std::string_view text) {
    return isAscii(text) || ansiToUtf8(utf8ToAnsi(text)) == text;
}

bool isAddress(std::string_view text, CodePage written) {
    if (isAscii(text)) return true;
    return toUtf8(CodePage::Latin1, platform::FromWide(written, platform::ToWide(CodePage::Utf8, text))) ==
           text;
}

}  // namespace id3parser
