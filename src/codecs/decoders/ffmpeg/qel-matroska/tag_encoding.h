// Merging a collection into the tags of a file, and the bytes of a Tags element.
#pragma once

#include <string>
#include <string_view>

#include "codecs/decoders/ffmpeg/qel-matroska/tag_record.h"

namespace Matroska {

// The key of a tag in a TagValueMap; empty for the names that carry a number and a total.
std::string IDTagNameToMatroskaKey(std::u16string_view name);

// Changes the keys that the collection names and keeps all others. A list whose values are the wanted ones
// stays with everything else that it holds. True when the record changed.
bool MergeIDTags(IDTags& tags, TagRecord& record);

// Removes the named tags, or all of them, from what concerns the whole file. True when the record changed.
bool DeleteFromTagRecord(bool deleteAll, const clStringList& names, TagRecord& record);

// The body of the Tags element.
EBML::Bytes EncodeTags(const TagRecord& record);

}  // namespace Matroska
