// Which frames of the old tag stay as they are.
#pragma once

#include <list>

#include "tags/id3v2/parser.h"
#include "tags/id3v2/values.h"

namespace id3parser {

// Leaves in `old` only the frames that say, alone or together with others, what `work` says too, and those
// that say nothing that has a name; takes out of `work` what they say. Frames are read strictly, whatever the
// context states.
void retainMatchingFrames(std::list<id3frame>& old, TagValues& work, const FrameContext& context);

}  // namespace id3parser
