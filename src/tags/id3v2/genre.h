// Genres: the numbered list, and the texts that mix numbers, names and marks.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tags/id3v2/values.h"

namespace id3parser {

inline constexpr std::string_view kGenreName = "Genre";

// Puts what `text` means into `out`, which keeps what it held when the text has no meaning; whether `out`
// then holds anything.
bool parseGenreText(std::string_view text, std::string& out);

// Adds the genres of a genre frame.
void readGenreFrame(const id3frame& frame, const FrameContext& context, TagValues& values);

}  // namespace id3parser
