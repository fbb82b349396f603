// What the body of a frame holds: strings, decoded to UTF-8, addresses and pictures.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/codepage.h"
#include "tags/id3v2/parser.h"

namespace id3parser {

// The first byte of a text body. No other number is allowed.
inline constexpr unsigned kEncodingAnsi = 0;
inline constexpr unsigned kEncodingUtf16 = 1;     // a byte order mark precedes every string
inline constexpr unsigned kEncodingUtf16Big = 2;  // no mark; from version 2.4 on
inline constexpr unsigned kEncodingUtf8 = 3;      // from version 2.4 on

// More NULs than this in one body are no text.
inline constexpr std::size_t kMostStrings = 1024;

inline constexpr std::size_t kLanguageBytes = 3;
// Bytes of a text body in front of its strings: the encoding, and the language where there is one.
std::size_t textHeaderBytes(std::uint32_t id) noexcept;

// Where the walk along a frame's strings stands, so that the next string is found without a rescan.
struct TextCursor {
    std::uint64_t count = 0;     // strings passed
    std::uint64_t position = 0;  // units passed
};

// All functions raise parseError for a body that doesn't hold what is asked for. `strict` also rejects text
// that is only guessed: bytes outside ASCII in a single-byte text, invalid UTF-8, a missing byte order mark.

// How many strings the body holds; at most 1025. Every NUL counts, those in a row too.
std::size_t frameTextCount(const id3frame& frame);

// The string of that number; empty past the last one. A run of NULs separates two strings.
std::string frameText(const id3frame& frame, bool strict, std::size_t index, TextCursor& cursor);

// The text up to the first NUL, as UTF-8.
std::string decodeText(unsigned encoding, std::span<const std::byte> bytes, bool strict);

// The address behind the description of a user defined link, and that of a frame which is nothing else.
std::string frameUrlAfterDescription(const id3frame& frame);
std::string frameUrl(const id3frame& frame);

// Points into the body.
struct PictureFields {
    std::uint8_t type = 0;  // 0 to 20
    std::span<const std::byte> image;
};
PictureFields pictureFields(std::span<const std::byte> body);

// The description of a picture whose fields were in order.
std::string pictureDescription(std::span<const std::byte> body);

// The system's single-byte text, as UTF-8, and back.
std::string ansiToUtf8(std::string_view text);
std::string utf8ToAnsi(std::string_view text);

// Whether that way there and back leaves the UTF-8 text as it is.
bool isAnsiText(std::string_view text);

// The same for an address, which is written as one and read as the other.
bool isAddress(std::string_view text, platform::CodePage written);

}  // namespace id3parser
