// The names of tags and pictures here and in a Matroska file. The order of the rows matters where it is said.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace Matroska {

// Tags whose text is number/total on our side and two tags in the file.
struct NumberPair {
    std::string_view idTag;
    std::string_view numberKey;
    std::string_view totalKey;
};

inline constexpr std::array NumberPairs{
    NumberPair{"track", "TRACK_NUMBER", "TOTAL_TRACKS"},
    NumberPair{"disc", "DISC_NUMBER", "TOTAL_DISCS"},
};

struct FriendlyName {
    std::string_view idTag;
    std::string_view key;
};

inline constexpr std::array FriendlyNames{
    FriendlyName{"date", "DATE_RECORDED"},
    FriendlyName{"release date", "DATE_RELEASED"},
    FriendlyName{"album artist", "ALBUM_ARTIST"},
};

// One name of the file means different things at different levels of its target.
struct TargetLevel {
    std::string_view genericKey;
    std::string_view tagName;
    std::uint64_t level;
};

inline constexpr std::uint64_t kAlbumLevel = 50;
inline constexpr std::uint64_t kTrackLevel = 30;

// Of rows that are equally near the first one wins.
inline constexpr std::array TargetLevels{
    TargetLevel{"ALBUM", "TITLE", 50},
    TargetLevel{"TITLE", "TITLE", 30},
    TargetLevel{"ARTIST", "ARTIST", 30},
    TargetLevel{"ALBUM_ARTIST", "ARTIST", 50},
    TargetLevel{"TRACK_NUMBER", "PART_NUMBER", 30},
    TargetLevel{"TOTAL_TRACKS", "TOTAL_PARTS", 50},
    TargetLevel{"DISC_NUMBER", "PART_NUMBER", 50},
    TargetLevel{"TOTAL_DISCS", "TOTAL_PARTS", 60},
    TargetLevel{"REPLAYGAIN_TRACK_GAIN", "REPLAYGAIN_GAIN", 30},
    TargetLevel{"REPLAYGAIN_TRACK_PEAK", "REPLAYGAIN_PEAK", 30},
    TargetLevel{"REPLAYGAIN_ALBUM_GAIN", "REPLAYGAIN_GAIN", 50},
    TargetLevel{"REPLAYGAIN_ALBUM_PEAK", "REPLAYGAIN_PEAK", 50},
};

struct CoverName {
    std::string_view stem;  // of the attachment's file name
    std::string_view pictureType;
};

// The first row of a picture type is the name to write.
inline constexpr std::array CoverNames{
    CoverName{"cover", "Front Album Cover"},
    CoverName{"front cover", "Front Album Cover"},
    CoverName{"back cover", "Back Album Cover"},
    CoverName{"back", "Back Album Cover"},
    CoverName{"disc", "Media"},
    CoverName{"media", "Media"},
    CoverName{"artist", "Artist"},
};

// MIME types of pictures begin so.
inline constexpr std::string_view kImageMimePrefix = "image/";

// ASCII a to z only.
std::string UpperCase(std::string_view text);
// Whether the text is the ASCII word, ASCII case ignored.
bool EqualsNoCase(std::u16string_view text, std::string_view word) noexcept;

std::string ToUtf8(std::u16string_view text);

}  // namespace Matroska
