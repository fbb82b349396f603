// Brings a tag to wanted values, and renders it to bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tags/id3v2/frame_text.h"
#include "tags/id3v2/parser.h"
#include "tags/id3v2/values.h"

namespace id3parser {

// Four bytes of seven bits: what a tag's and a frame's size stay below.
inline constexpr std::uint64_t kSizeLimit = 0x10000000;

inline constexpr std::size_t kFrameHeaderBytes = 10;

// Makes the tag hold `values`. Frames that already say so, or that have no name here, stay byte for byte
// behind the new ones. A tag that is neither version 2.3 nor 2.4 becomes 2.3, and of its old frames only
// pictures, comments and lyrics stay. writeError for an encoding that isn't written.
void valuesToFrames(id3tag& tag, const TagValues& values, WriteSettings settings);

// Moves the pictures behind all other frames, front covers first.
void orderPictures(id3tag& tag);

// The place that the rendered tag shall take.
struct TagRoom {
    std::uint64_t oldSize = 0;  // bytes that the old tag takes
    std::uint32_t maxPadding = 0;
    std::uint32_t alignment = 1;  // of the whole tag's size
};

// Puts the tag, of version 2.3 or 2.4, into an empty buffer, with padding that keeps the old size if
// `maxPadding` allows that. writeError for another version and for a frame or a tag too large for its size
// field; std::overflow_error for one past 4 GiB.
void renderTag(const id3tag& tag, streamOutBuffer& out, const TagRoom& room);

// A size in 4 bytes of 7 bits, most significant first; writeError when that is too few.
void writeSynchsafe(streamOut& out, std::uint64_t value);

}  // namespace id3parser
