#include "codecs/decoders/ffmpeg/qel-matroska/tag_encoding.h"

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_write.h"
#include "codecs/decoders/ffmpeg/qel-matroska/tag_tables.h"

namespace Matroska {

namespace {

using EBML::StreamWritable;
using EBML::StreamWritableSimple;

constexpr std::string_view kUndeterminedLanguage = "und";

TagValue MakeTagValue(std::string_view name, std::string value) {
    std::string tagName = UpperCase(name);
    std::uint64_t level = kTrackLevel;
    const auto row =
        std::find_if(TargetLevels.begin(), TargetLevels.end(),
                     [&](const TargetLevel& candidate) { return candidate.genericKey == tagName; });
    if (row != TargetLevels.end()) {
        tagName = row->tagName;
        level = row->level;
    }
    return {std::move(value), std::move(tagName), level, {}};
}

// Old values that say the same stay, with their language and whatever else they hold.
bool ReplaceList(TagValueMap& map, const std::string& key, std::vector<TagValue> values) {
    std::vector<TagValue>& old = map[key];
    const auto sameValue = [](const TagValue& a, const TagValue& b) { return a.value == b.value; };
    if (std::equal(old.begin(), old.end(), values.begin(), values.end(), sameValue)) return false;
    old = std::move(values);
    return true;
}

bool ReplaceByOne(TagValueMap& map, std::string_view key, std::u16string_view value) {
    return ReplaceList(map, std::string(key), {MakeTagValue(key, ToUtf8(value))});
}

bool EraseKey(TagValueMap& map, std::string_view key) {
    return map.erase(std::string(key)) != 0;
}

bool MergeNumberPair(const NumberPair& pair, IDTags& tags, TagValueMap& map) {
    clString name;
    name.SetFromUtf8(pair.idTag);
    const IDTag* tag = tags.Find(name, false);
    if (tag == nullptr || tag->Value.IsEmpty()) return false;
    clString number;
    clString total;
    tag->Value.SplitAt(number, total);
    const bool numberChanged = ReplaceByOne(map, pair.numberKey, number);
    const bool totalChanged =
        total.IsEmpty() ? EraseKey(map, pair.totalKey) : ReplaceByOne(map, pair.totalKey, total);
    return numberChanged || totalChanged;
}

bool MergeText(const IDTag& tag, TagValueMap& map) {
    if (tag.Name.View().starts_with(u'_')) return false;
    const std::string key = IDTagNameToMatroskaKey(tag.Name);
    if (key.empty()) return false;
    clStringList pieces;
    pieces.Split(tag.Value);
    std::vector<TagValue> values;
    values.reserve(static_cast<std::size_t>(pieces.count()));
    for (int i = 0; i < pieces.count(); ++i) values.push_back(MakeTagValue(key, pieces[i].Utf8()));
    return ReplaceList(map, key, std::move(values));
}

EBML::Bytes EncodeSimpleTag(const TagValue& value) {
    StreamWritableSimple sink;
    EBML::WriteTextElement(sink, Id::TagName, UpperCase(value.name));
    EBML::WriteTextElement(sink, Id::TagString, value.value);
    EBML::WriteTextElement(sink, Id::TagLanguage, kUndeterminedLanguage);
    EBML::WriteUIntElement(sink, Id::TagDefault, 1);
    return sink.Take();
}

void WriteTargets(std::span<const std::byte> prefix, std::uint64_t level, StreamWritable& sink) {
    StreamWritableSimple targets;
    targets.Write(prefix);
    EBML::WriteUIntElement(targets, Id::TargetTypeValue, level);
    EBML::WriteElement(sink, Id::Targets, targets.View());
}

// One Tag for each run of values of one level; `prefix` goes in front into its Targets.
void EncodeTagValueMap(const TagValueMap& map, std::span<const std::byte> prefix, StreamWritable& sink) {
    StreamWritableSimple body;
    bool open = false;
    std::uint64_t openLevel = 0;
    const auto close = [&] {
        if (open) EBML::WriteElement(sink, Id::Tag, body.View());
        body.Clear();
    };
    for (const auto& [key, values] : map) {
        for (const TagValue& value : values) {
            if (!open || value.level != openLevel) {
                close();
                open = true;
                openLevel = value.level;
                WriteTargets(prefix, openLevel, body);
            }
            EBML::WriteElement(body, Id::SimpleTag, value.raw.empty() ? EncodeSimpleTag(value) : value.raw);
        }
    }
    close();
}

void EncodeScopedMaps(const ScopedTagMaps& uidMap, std::uint32_t uidId, StreamWritable& sink) {
    for (const auto& [uid, map] : uidMap) {
        StreamWritableSimple prefix;
        EBML::WriteUIntElement(prefix, uidId, uid);
        EncodeTagValueMap(map, prefix.View(), sink);
    }
}

bool DeleteNamed(const clString& name, TagValueMap& map) {
    bool changed = false;
    for (const NumberPair& pair : NumberPairs) {
        if (!EqualsNoCase(name, pair.idTag)) continue;
        changed = EraseKey(map, pair.numberKey) || changed;
        changed = EraseKey(map, pair.totalKey) || changed;
    }
    const std::string key = IDTagNameToMatroskaKey(name);
    if (!key.empty()) changed = EraseKey(map, key) || changed;
    return changed;
}

}  // namespace

std::string IDTagNameToMatroskaKey(std::u16string_view name) {
    for (const NumberPair& pair : NumberPairs) {
        if (EqualsNoCase(name, pair.idTag)) return {};
    }
    for (const FriendlyName& row : FriendlyNames) {
        if (EqualsNoCase(name, row.idTag)) return std::string(row.key);
    }
    return UpperCase(ToUtf8(name));
}

bool MergeIDTags(IDTags& tags, TagRecord& record) {
    bool changed = false;
    for (const NumberPair& pair : NumberPairs)
        changed = MergeNumberPair(pair, tags, record.Global) || changed;
    for (const IDTag* tag : tags) changed = MergeText(*tag, record.Global) || changed;
    return changed;
}

bool DeleteFromTagRecord(bool deleteAll, const clStringList& names, TagRecord& record) {
    if (deleteAll) {
        const bool held = !record.Global.empty();
        record.Global.clear();
        return held;
    }
    bool changed = false;
    for (int i = 0; i < names.count(); ++i) changed = DeleteNamed(names[i], record.Global) || changed;
    return changed;
}

EBML::Bytes EncodeTags(const TagRecord& record) {
    StreamWritableSimple sink;
    EncodeTagValueMap(record.Global, {}, sink);
    // Editions before tracks, other than in the record.
    EncodeScopedMaps(record.Chapters, Id::TagChapterUID, sink);
    EncodeScopedMaps(record.Editions, Id::TagEditionUID, sink);
    EncodeScopedMaps(record.Tracks, Id::TagTrackUID, sink);
    EncodeScopedMaps(record.Attachments, Id::TagAttachmentUID, sink);
    return sink.Take();
}

}  // namespace Matroska
