// What the reader and the writer of APE tags both need to know of the format. All numbers are little-endian.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace apev2 {

inline constexpr std::string_view kMagic = "APETAGEX";
inline constexpr std::uint32_t kVersion1 = 1000;  // ANSI text, no header
inline constexpr std::uint32_t kVersion2 = 2000;  // UTF-8, header and footer

// Header and footer are of one form. The tag size counts items and footer.
inline constexpr std::size_t kFooterBytes = 32;
inline constexpr std::size_t kVersionOffset = 8;
inline constexpr std::size_t kSizeOffset = 12;
inline constexpr std::size_t kCountOffset = 16;
inline constexpr std::size_t kFlagsOffset = 20;
inline constexpr std::uint32_t kHasHeader = 0x80000000U;
inline constexpr std::uint32_t kIsHeader = 0x20000000U;

// An item: value size, flags, key and NUL, value.
inline constexpr std::size_t kItemFixedBytes = 8;
inline constexpr std::size_t kItemFlagsOffset = 4;
// A larger value ends what is read of a tag, so none is written.
inline constexpr std::uint32_t kLargestValue = 0x1000000;

inline constexpr std::u16string_view kRatingName = u"rating";
// Another application's mark on items of its own.
inline constexpr std::u16string_view kJukeBoxPrefix = u"Media JukeBox: ";

inline constexpr std::u16string_view kCoverKey = u"Cover Art ";
inline constexpr std::u16string_view kFrontSide = u"(front)";
inline constexpr std::u16string_view kBackSide = u"(back)";

struct KeyAndName {
    std::u16string_view key;
    std::u16string_view name;
};

// Item keys whose tags have another name; all other items keep theirs.
inline constexpr std::array<KeyAndName, 3> kKeyNames{{
    {u"Tool Name", u"Encoded by"},
    {u"BPM", u"tempo"},
    {u"CRC", u"_crc"},
}};

}  // namespace apev2
