// The values of a tag by name, and what each frame adds to them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tags/id3v2/parser.h"

namespace id3parser {

inline constexpr std::string_view kRatingName = "Rating";
inline constexpr std::string_view kUserUrlName = "User defined URL link";

// Orders names with the ASCII letters folded to lower case.
struct NameLess {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const noexcept;
};

bool equalsNoCase(std::string_view a, std::string_view b) noexcept;
bool beginsWithNoCase(std::string_view text, std::string_view prefix) noexcept;

using ValueList = std::vector<std::string>;

// From a name to its values, both UTF-8. Values keep the order in which they came.
using TagValues = std::map<std::string, ValueList, NameLess>;

// Appends `text` to the list of `name`; an empty text adds nothing, not even the name.
void addValue(TagValues& values, std::string_view name, std::string text);

// What the meaning of a frame depends on.
struct FrameContext {
    const FrameOverrides& overrides;
    std::uint32_t version;  // of the tag
    bool strict;            // parseError instead of a guess
};

// Adds the frame's values; frames without a meaning here add nothing. parseError for a malformed body; what
// was added until then stays.
void frameToValues(const id3frame& frame, const FrameContext& context, TagValues& values);

// Adds the values of all frames, as the tag itself says how; a malformed frame costs that frame alone.
void framesToValues(const id3tag& tag, TagValues& values);

// Removes values of "Year" that repeat an earlier one.
void dedupeYear(TagValues& values);

// The four names of replay gain values, ASCII case ignored.
bool isReplayGainName(std::string_view name) noexcept;

// Names of user text that hold several values with slashes between them.
bool isSlashSplitUserName(std::string_view name) noexcept;

// Cuts a number in brackets off the end, as in "Mood[2]"; whether there was one.
bool stripIndexSuffix(std::string& name);

// The byte of a rating frame for each rating from 0 to 10.
inline constexpr std::uint8_t ratingSteps[] = {0, 0, 1, 32, 64, 96, 128, 160, 196, 228, 255};

}  // namespace id3parser
