// Makes frames of values.
#pragma once

#include <list>

#include "tags/id3v2/frame_text.h"
#include "tags/id3v2/values.h"

namespace id3parser {

// Appends the frames that hold `work`, in their fixed order; what has no frame of its own becomes a comment
// or a user frame. `version` is 3 or 4, and `settings.encoding` one that it allows.
void appendNewFrames(std::list<id3frame>& frames, TagValues work, const FrameOverrides& overrides,
                     std::uint32_t version, const WriteSettings& settings);

}  // namespace id3parser
