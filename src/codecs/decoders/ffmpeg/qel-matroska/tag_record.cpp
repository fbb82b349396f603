#include "codecs/decoders/ffmpeg/qel-matroska/tag_record.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "codecs/decoders/ffmpeg/qel-matroska/tag_tables.h"

namespace Matroska {

namespace {

using EBML::ParseError;
using EBML::Stream;

constexpr char16_t kValueSeparator = u'\r';

// What a Tag with many UIDs is copied to is held to this many bytes beyond the file's own.
constexpr std::uint64_t kCopiesBeyondFile = 0x4000000;

clString FromUtf8(const std::string& text) {
    clString wide;
    wide.SetFromUtf8(text);
    return wide;
}

struct TagTargetSets {
    Offsets chapterUids;
    Offsets trackUids;
    Offsets editionUids;
    Offsets attachmentUids;

    bool Empty() const noexcept {
        return chapterUids.empty() && trackUids.empty() && editionUids.empty() && attachmentUids.empty();
    }
    // UID 0 among the chapters stands for all of them.
    bool IsGlobal() const noexcept { return Empty() || chapterUids.contains(0); }
};

class ParserTagTargets : public EBML::Parser, public TagTargetSets {
  public:
    bool hasTargetTypeValue = false;
    std::uint64_t targetTypeValue = kAlbumLevel;

    // Without a value of its own only the chapters decide, whatever else the Tag is aimed at.
    std::uint64_t Level() const noexcept {
        if (hasTargetTypeValue) return targetTypeValue;
        return IsGlobal() ? kAlbumLevel : kTrackLevel;
    }

  protected:
    void OnElement(std::uint32_t id, std::uint64_t size, Stream& stream) override {
        switch (id) {
            case Id::TagChapterUID:
                chapterUids.insert(EBML::ReadUInt(stream, size));
                break;
            case Id::TagTrackUID:
                trackUids.insert(EBML::ReadUInt(stream, size));
                break;
            case Id::TagEditionUID:
                editionUids.insert(EBML::ReadUInt(stream, size));
                break;
            case Id::TagAttachmentUID:
                attachmentUids.insert(EBML::ReadUInt(stream, size));
                break;
            case Id::TargetTypeValue:
                targetTypeValue = EBML::ReadUInt(stream, size);
                hasTargetTypeValue = true;
                break;
            default:
                break;
        }
    }
};

// Languages, defaults, binary values and nested tags aren't looked at; they stand in the raw body.
class MyParserSimpleTag : public EBML::Parser {
  public:
    std::string name;
    std::string value;
    bool hasValue = false;

  protected:
    void OnElement(std::uint32_t id, std::uint64_t size, Stream& stream) override {
        if (id == Id::TagName) {
            name = UpperCase(EBML::ReadUtf8(stream, size));
        } else if (id == Id::TagString) {
            if (hasValue) throw ParseError();
            value = EBML::ReadUtf8(stream, size);
            hasValue = true;
        }
    }
};

struct SimpleTagRecord {
    EBML::Bytes raw;
    std::string name;
    std::string value;
    bool hasValue;
};

class MyParserTag : public EBML::Parser {
  public:
    ParserTagTargets targets;
    std::vector<SimpleTagRecord> records;

  protected:
    void OnElement(std::uint32_t id, std::uint64_t size, Stream& stream) override {
        if (id == Id::Targets) {
            if (targets.parsed) throw ParseError();
            targets.Run(stream);
        } else if (id == Id::SimpleTag && size != 0) {
            EBML::Bytes raw = EBML::ReadBinary(stream, size);
            EBML::StreamMem body(raw);
            MyParserSimpleTag simple;
            simple.Run(body);
            records.push_back(
                {std::move(raw), std::move(simple.name), std::move(simple.value), simple.hasValue});
        }
    }
};

std::uint64_t Distance(std::uint64_t a, std::uint64_t b) noexcept {
    return a > b ? a - b : b - a;
}

// The key of the row whose level is nearest, or the name itself.
std::string GenericKey(const std::string& name, std::uint64_t level) {
    const TargetLevel* nearest = nullptr;
    for (const TargetLevel& row : TargetLevels) {
        if (row.tagName != name) continue;
        if (nearest == nullptr || Distance(row.level, level) < Distance(nearest->level, level))
            nearest = &row;
    }
    return std::string(nearest != nullptr ? nearest->genericKey : EBML::TextOf(name));
}

void Append(ScopedTagMaps& maps, const Offsets& uids, const std::string& key, const TagValue& value,
            OverlapGuard& guard) {
    for (const std::uint64_t uid : uids) {
        guard.Take(sizeof value + key.size() + value.name.size() + value.value.size() + value.raw.size());
        maps[uid][key].push_back(value);
    }
}

// Files the finished Tag; one that is aimed at several parts of the file is held once for each.
void AddTagRecord(const MyParserTag& tag, TagRecord& record, OverlapGuard& guard) {
    const ParserTagTargets& targets = tag.targets;
    const std::uint64_t level = targets.Level();
    for (const SimpleTagRecord& simple : tag.records) {
        const std::string key = simple.hasValue ? GenericKey(simple.name, level) : std::string();
        TagValue value{simple.value, simple.name, level, simple.raw};
        if (targets.IsGlobal()) {
            record.Global[key].push_back(std::move(value));
            continue;
        }
        Append(record.Chapters, targets.chapterUids, key, value, guard);
        Append(record.Editions, targets.editionUids, key, value, guard);
        Append(record.Tracks, targets.trackUids, key, value, guard);
        Append(record.Attachments, targets.attachmentUids, key, value, guard);
    }
}

class MyParserTags : public EBML::Parser {
  public:
    MyParserTags(TagRecord& record, std::uint64_t fileBytes) noexcept
        : record_(&record), elements_(fileBytes), copies_(fileBytes + kCopiesBeyondFile) {}

  protected:
    void OnBegin(Stream& stream) override { elements_.Take(stream.LeftInRange()); }

    void OnElement(std::uint32_t id, std::uint64_t, Stream& stream) override {
        if (id != Id::Tag) return;
        MyParserTag tag;
        tag.Run(stream);
        AddTagRecord(tag, *record_, copies_);
    }

  private:
    TagRecord* record_;
    OverlapGuard elements_;
    OverlapGuard copies_;
};

// The first value under the key; null when there is none.
const std::string* FirstValue(const TagValueMap& map, std::string_view key) {
    const auto found = map.find(std::string(key));
    return found == map.end() || found->second.empty() ? nullptr : &found->second.front().value;
}

void AddNumberPair(const NumberPair& pair, const TagValueMap& map, IDTags& tags) {
    const std::string* number = FirstValue(map, pair.numberKey);
    if (number == nullptr) return;
    clString text = FromUtf8(*number);
    if (const std::string* total = FirstValue(map, pair.totalKey)) {
        text.Append(u"/");
        text.Append(FromUtf8(*total));
    }
    tags.AddText(FromUtf8(std::string(pair.idTag)), text);
}

bool IsOfNumberPair(const std::string& key) noexcept {
    return std::any_of(NumberPairs.begin(), NumberPairs.end(),
                       [&](const NumberPair& pair) { return key == pair.numberKey || key == pair.totalKey; });
}

std::string NameForHost(const std::string& key) {
    for (const FriendlyName& row : FriendlyNames) {
        if (key == row.key) return std::string(row.idTag);
    }
    return key;
}

// Leading empty values leave no separator behind.
clString Join(const std::vector<TagValue>& values) {
    clString joined;
    for (const TagValue& value : values) {
        if (!joined.IsEmpty()) joined.AppendGrow(std::u16string_view(&kValueSeparator, 1));
        joined.AppendGrow(FromUtf8(value.value));
    }
    return joined;
}

}  // namespace

void ReadTagRecord(TagRecord& record, const ParserRoot& root, EBML::StreamSeekable& stream) {
    MyParserTags parser(record, stream.m_range.end);
    root.RunOnEach(Id::Tags, stream, parser);
}

void TagRecordToIDTags(const TagRecord& record, IDTags& tags) {
    tags.Clear();
    for (const NumberPair& pair : NumberPairs) AddNumberPair(pair, record.Global, tags);
    for (const auto& [key, values] : record.Global) {
        if (key.empty() || IsOfNumberPair(key)) continue;
        const clString text = Join(values);
        if (!text.IsEmpty()) tags.AddText(FromUtf8(NameForHost(key)), text);
    }
}

}  // namespace Matroska
