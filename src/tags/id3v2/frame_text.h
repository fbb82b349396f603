// Bodies of new text frames.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "tags/id3v2/frames.h"
#include "tags/id3v2/parser.h"

namespace id3parser {

// How new frames are made.
struct WriteSettings {
    std::uint8_t encoding = kEncodingAnsi;  // of text: 0, 1 or 3; 2 is taken as 1
    bool looseYear = false;                 // below version 2.4 the year frame holds "Year" as it is
    bool skipRating = false;                // no rating frame is made
};

// All texts come in as UTF-8, without a NUL. The frame's id must be set before, for it decides whether the
// body states a language, which is "eng".

// A new body of these strings; writeError for an encoding that isn't written. Strings that the code page
// can't hold make a single-byte body one of UTF-16.
void setFrameText(id3frame& frame, const std::vector<std::string_view>& texts, const WriteSettings& settings);

// The description of a picture whose body has been written up to there, in the single-byte encoding: UTF-8
// all the same, on which hosts rely, and UTF-16, with the encoding changed, when the code page can't hold it.
void appendPictureDescription(id3frame& frame, std::string_view text);

// The bytes alone: no encoding byte, no terminator.
void appendBytes(id3frame& frame, std::string_view bytes);

// Rewrites a text frame of version 2.2 whose encoding version 2.3 doesn't know; parseError when it can't.
void upgradeFrameEncoding(id3frame& frame);

}  // namespace id3parser
