// The Tags of a file in memory, in a form that keeps byte for byte what isn't understood.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "codecs/decoders/ffmpeg/qel-matroska/matroskaimpl.h"
#include "tags/idtags.h"

namespace Matroska {

// One SimpleTag.
struct TagValue {
    std::string value;  // the TagString, UTF-8, with the NULs that may pad it
    std::string name;   // the TagName in upper case
    std::uint64_t level = 0;
    EBML::Bytes raw;  // the whole body as it stands in the file, written back as it is; empty for a new value
};

// By generic key: the name that says what the tag means without its target's level. A tag without a text has
// the empty key.
using TagValueMap = std::map<std::string, std::vector<TagValue>>;
using ScopedTagMaps = std::map<std::uint64_t, TagValueMap>;

// Global is what concerns the whole file and what the host sees; the others hold, by UID, what is aimed at
// parts of it.
struct TagRecord {
    TagValueMap Global;
    ScopedTagMaps Chapters;
    ScopedTagMaps Tracks;
    ScopedTagMaps Editions;
    ScopedTagMaps Attachments;
};

// All Tags elements of the file, in the order of their offsets.
void ReadTagRecord(TagRecord& record, const ParserRoot& root, EBML::StreamSeekable& stream);

// Replaces the collection by what the host sees of the record.
void TagRecordToIDTags(const TagRecord& record, IDTags& tags);

}  // namespace Matroska
