// Bodies of new text frames.
#pragma once

#include <cstdint>
#include <string_view>

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

// A new body with `text` as its first string; writeError for an encoding that isn't written.
void setFrameText(id3frame& frame, std::string_view text, const WriteSettings& settings);

// One more string, in the encoding that the body states; parseError for a body that states none of ours.
void appendFrameText(id3frame& frame, std::string_view text);

// A new body in the single-byte encoding.
void setFrameAnsi(id3frame& frame, std::string_view text);

// The bytes alone: no encoding byte, no terminator.
void appendBytes(id3frame& frame, std::string_view bytes);

// Rewrites a text frame of version 2.2 whose encoding version 2.3 doesn't know; parseError when it can't.
void upgradeFrameEncoding(id3frame& frame);

}  // namespace id3parser
