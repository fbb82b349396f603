#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <utility>

#include "support/cllists.h"
#include "tags/art_key.h"
#include "tags/id3v2/frame_text.h"
#include "tags/id3v2/frames.h"
#include "tags/id3v2/parser_streams.h"
#include "tags/id3v2/streams.h"
#include "tags/id3v2/tag_id3v2.h"
#include "tags/id3v2/writer.h"

using namespace id3parser;

namespace {

constexpr std::size_t kSmallestImage = 8;

// Names as the host has them, whose text is one value whatever is in it. Any name with "lyrics" in it is,
// too.
constexpr std::array<std::u16string_view, 23> kSingleValueNames{u"album",
                                                                u"album sort",
                                                                u"subtitle",
                                                                u"set subtitle",
                                                                u"encoded by",
                                                                u"label",
                                                                u"encoder settings",
                                                                u"tempo",
                                                                u"source",
                                                                u"initial key",
                                                                u"contact",
                                                                u"copyright",
                                                                u"title",
                                                                u"comment",
                                                                u"title sort",
                                                                u"length",
                                                                u"year",
                                                                u"original release year",
                                                                u"release date",
                                                                u"recording dates",
                                                                u"description",
                                                                u"CUESHEET",
                                                                u"EACLOG"};

bool isSingleValueName(const clString& name) {
    if (name.Find(u"lyrics", 1, true) != 0) return true;
    return std::any_of(kSingleValueNames.begin(), kSingleValueNames.end(),
                       [&name](std::u16string_view known) { return clString::EqualsNoCase(name, known); });
}

// What the map calls a name that the host calls otherwise.
std::string mapName(const clString& name) {
    if (clString::EqualsNoCase(name, u"content group description")) return "style";
    if (clString::EqualsNoCase(name, u"ITUNNORM")) return "COMMENT ITUNNORM";
    return name.Utf8();
}

bool isPicture(const IDTag& entry) {
    return clString::BeginsWithNoCase(entry.Name, kArtPrefix);
}

// A picture's type number and description, as its key tells them.
std::pair<std::uint8_t, clString> pictureKeyOf(const IDTag& entry) {
    clString type;
    clString description;
    SplitArtKey(entry.Name, type, description);
    const bool undefined = type.IsEmpty() || clString::EqualsNoCase(type, u"Undefined");
    const int number = undefined ? 0 : PictureTypeFromName(type);
    return {static_cast<std::uint8_t>(number), std::move(description)};
}

std::string_view mimeOf(std::span<const std::byte> image) {
    constexpr std::array kPng{std::byte{'P'}, std::byte{'N'}, std::byte{'G'}};
    if (image.size() < kSmallestImage) return "";
    return std::equal(kPng.begin(), kPng.end(), image.begin() + 1) ? "image/png" : "image/jpeg";
}

// All of the frame but the image.
id3frame pictureFront(const IDTag& entry) {
    const auto [type, description] = pictureKeyOf(entry);
    id3frame frame;
    frame.id = kPictureFrame;
    frame.data.push_back(static_cast<std::byte>(kEncodingAnsi));
    appendBytes(frame, mimeOf(entry.Data.bytes()));
    frame.data.push_back(std::byte{0});
    frame.data.push_back(static_cast<std::byte>(type));
    appendPictureDescription(frame, description.Utf8());
    return frame;
}

id3frame makePictureFrame(const IDTag& entry) {
    const std::span<const std::byte> image = entry.Data.bytes();
    id3frame frame = pictureFront(entry);
    frame.data.insert(frame.data.end(), image.begin(), image.end());
    return frame;
}

// Each type that is named loses all its pictures, and with them every picture that can't be understood.
void removePictures(id3tag& tag, const IDTags& tags) {
    std::set<std::uint8_t> types;
    for (const IDTag* entry : tags) {
        if (isPicture(*entry)) types.insert(pictureKeyOf(*entry).first);
    }
    if (types.empty()) return;
    tag.frames.remove_if([&types](const id3frame& frame) {
        if (frame.id != kPictureFrame) return false;
        try {
            return types.contains(pictureFields(frame.data).type);
        } catch (const parseError&) {
            return true;
        }
    });
}

void addPictures(id3tag& tag, const IDTags& tags) {
    for (const IDTag* entry : tags) {
        if (isPicture(*entry) && !entry->Data.empty()) tag.frames.push_back(makePictureFrame(*entry));
    }
}

void replaceTableOfContents(id3tag& tag, const IDTags& tags) {
    const auto wanted = std::find_if(tags.begin(), tags.end(), [](const IDTag* entry) {
        return clString::EqualsNoCase(entry->Name, kTableOfContentsName);
    });
    if (wanted == tags.end()) return;
    tag.frames.remove_if([](const id3frame& frame) { return frame.id == kTableOfContentsFrame; });
    const std::span<const std::byte> data = std::as_const((*wanted)->Data).bytes();
    if (data.empty()) return;
    id3frame& frame = tag.frames.emplace_back();
    frame.id = kTableOfContentsFrame;
    frame.data.assign(data.begin(), data.end());
}

// "Comments" is another name for more comments.
void joinComments(TagValues& values) {
    const auto comments = values.find("comments");
    if (comments == values.end()) return;
    ValueList moved = std::move(comments->second);
    values.erase(comments);
    ValueList& list = values["comment"];
    list.insert(list.end(), std::make_move_iterator(moved.begin()), std::make_move_iterator(moved.end()));
}

bool parseBytes(id3tag& tag, std::span<const std::byte> bytes) {
    try {
        streamInMem stream(bytes);
        tag.sourceBytes = bytes.size();
        parseCallback callback;
        parseTag(tag, stream, callback);
        return true;
    } catch (const parseError&) {
        tag.frames.clear();
        return false;
    }
}

bool holdsPicture(const id3tag& tag, std::uint8_t type) {
    return std::any_of(tag.frames.begin(), tag.frames.end(), [type](const id3frame& frame) {
        if (frame.id != kPictureFrame) return false;
        try {
            return pictureFields(frame.data).type == type;
        } catch (const parseError&) {
            return false;
        }
    });
}

// Whether a reader of the tag finds an entry of this name.
bool holds(const id3tag& tag, const TagValues& values, const IDTag& name) {
    if (isPicture(name)) return holdsPicture(tag, pictureKeyOf(name).first);
    if (clString::EqualsNoCase(name.Name, kTableOfContentsName)) {
        return std::any_of(tag.frames.begin(), tag.frames.end(),
                           [](const id3frame& frame) { return frame.id == kTableOfContentsFrame; });
    }
    return !name.Name.View().starts_with(u'_') && values.contains(mapName(name.Name));
}

bool holdsAny(const id3tag& tag, const TagValues& values, const IDTags& names) {
    return std::any_of(names.begin(), names.end(),
                       [&](const IDTag* name) { return holds(tag, values, *name); });
}

}  // namespace

void TagID3v2::SetOption(std::u16string_view option) noexcept {
    try {
        if (option == u"ID3v2EncodeUni") encodingChoice = Utf16;
        if (option == u"ID3v2EncodeUTF8") encodingChoice = Utf8;
        if (option == u"ID3v2WriteV22") versionChoice = Version22;
        if (option == u"ID3v2WriteV221") versionChoice = Version221;
        if (option == u"ID3v2WriteV24") versionChoice = Version24;
        if (option == u"WriteFullDateInYearTag") fullDateInYear = true;
        if (option == u"WriteStrictYearDate") strictYearDate = true;
        if (option == u"TPE2Orchestra") NameFrame(u"TPE2", u"Orchestra");
        if (option == u"TIT1Style") NameFrame(u"TIT1", u"Style");
    } catch (const std::bad_alloc&) {
        return;  // the option stays off
    }
}

void TagID3v2::NameFrame(std::u16string_view frame, std::u16string_view name) {
    IDTag* entry = frameNames.Find(frame, false);
    if (entry == nullptr) {
        frameNames.AddText(frame, name);
    } else {
        entry->Value.Set(name);
    }
}

bool TagID3v2::Takes(const IDTags& tags) noexcept {
    try {
        return std::all_of(tags.begin(), tags.end(), [](const IDTag* entry) {
            const std::uint64_t bytes = entry->Data.size();
            if (isPicture(*entry)) return pictureFront(*entry).data.size() + bytes < kFrameSizeLimit;
            return bytes < kFrameSizeLimit || !clString::EqualsNoCase(entry->Name, kTableOfContentsName);
        });
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool TagID3v2::Write(const IDTags& tags, bool deleteOnly) noexcept {
    try {
        return WriteTag(tags, deleteOnly);
    } catch (...) {
        return false;
    }
}

bool TagID3v2::WriteTag(const IDTags& tags, bool deleteOnly) {
    OldTag old;
    if (!ReadOldTag(old)) return false;
    id3tag tag = EmptyTag();
    const bool parsed = old.room != 0 && parseBytes(tag, old.bytes);
    if (!parsed) tag.version = versionChoice == Version24 ? kVersion24 : kVersion23;
    TagValues values;
    framesToValues(tag, values);
    // A rewrite costs what the parser doesn't store, so it isn't done for nothing.
    if (deleteOnly && !(parsed && holdsAny(tag, values, tags))) return true;
    if (old.passesEnd) return false;
    MergeEntries(tags, deleteOnly, values);
    WriteSettings settings;
    settings.encoding = TextEncoding();
    settings.looseYear = !strictYearDate;
    valuesToFrames(tag, values, settings);
    removePictures(tag, tags);
    if (!deleteOnly) addPictures(tag, tags);
    replaceTableOfContents(tag, tags);

    // An identifier that got lost would be written as zeros, and those end a tag for every reader.
    tag.frames.remove_if([](const id3frame& frame) { return frame.id == 0; });
    streamOutBuffer rendered;
    if (!tag.frames.empty()) {
        orderPictures(tag);
        renderTag(tag, rendered, {old.room, maxPadding, alignment});
    }
    tag.frames.clear();  // their pictures would be in memory twice while the file changes
    return Replace(old.bytes, rendered.bytes);
}

// False when the file can't be read; what the tag holds isn't known then.
bool TagID3v2::ReadOldTag(OldTag& old) {
    const std::uint64_t size = tagSizeOnDisk();
    if (unreadable) return false;
    if (size == 0) return true;
    bool failed = false;
    const auto fileBytes = static_cast<std::uint64_t>(file.Size(&failed));
    if (failed) return false;
    old.passesEnd = tagOffset + size > fileBytes;
    old.room = alignment == 2 && size % 2 != 0 ? size + 1 : size;
    old.bytes.resize(std::min(old.room, fileBytes - std::min(fileBytes, tagOffset)));
    return ReadAt(tagOffset, old.bytes);
}

// Puts the new tag in the place of the old one. In front of a tail that moves up nothing is written before it
// has moved, and one that moves down follows a new tag that already stands: either way what a failure leaves
// to put back is the old tag alone.
bool TagID3v2::Replace(std::span<const std::byte> old, std::span<const std::byte> fresh) noexcept {
    const auto oldEnd = static_cast<std::int64_t>(tagOffset + old.size());
    const auto newEnd = static_cast<std::int64_t>(tagOffset + fresh.size());
    const std::int64_t growth = newEnd - oldEnd;
    if (growth > 0 && !file.ShiftTail(oldEnd, growth)) return false;
    if (!PutTag(fresh)) {
        PutTag(old);
        if (growth > 0) file.ShiftTail(newEnd, -growth);
        return false;
    }
    if (growth >= 0) return true;
    bool torn = false;
    if (file.ShiftTail(oldEnd, growth, &torn)) return true;
    if (!torn) PutTag(old);
    return false;
}

bool TagID3v2::PutTag(std::span<const std::byte> bytes) noexcept {
    return bytes.empty() || file.WriteAt(static_cast<std::int64_t>(tagOffset), bytes.data(), bytes.size());
}

void TagID3v2::MergeEntries(const IDTags& tags, bool deleteOnly, TagValues& values) const {
    for (const IDTag* entry : tags) {
        if (!entry->Name.View().starts_with(u'_')) MergeEntry(*entry, deleteOnly, values);
    }
    joinComments(values);
}

void TagID3v2::MergeEntry(const IDTag& entry, bool deleteOnly, TagValues& values) const {
    const std::string name = mapName(entry.Name);
    if (deleteOnly || entry.Value.IsEmpty()) {
        const auto found = values.find(name);
        if (found != values.end()) values.erase(found);
        return;
    }
    ValueList& list = values[name];
    list.clear();
    if (equalsNoCase(name, "year") && !fullDateInYear && !strictYearDate) {
        list.emplace_back(clString::FromInt(entry.Value.ToInt()).Utf8());
    } else if (isSingleValueName(entry.Name)) {
        list.emplace_back(entry.Value.Utf8());
    } else {
        clStringList pieces;
        pieces.Split(entry.Value);
        for (int i = 0; i < pieces.count(); ++i) list.emplace_back(pieces[i].Utf8());
    }
}

std::uint8_t TagID3v2::TextEncoding() const noexcept {
    constexpr std::uint8_t kEncodings[] = {kEncodingAnsi, kEncodingUtf16, kEncodingUtf8};
    return kEncodings[encodingChoice];
}

bool TagID3v2::Delete() noexcept {
    try {
        OldTag old;
        return ReadOldTag(old) && !old.passesEnd && Replace(old.bytes, {});
    } catch (const std::bad_alloc&) {
        return false;  // the tag stays as it is
    }
}

bool TagID3v2::DeleteTag(std::u16string_view name) noexcept {
    try {
        IDTags tags;
        tags.AddText(name, u"");
        return Write(tags, true);
    } catch (const std::bad_alloc&) {
        return false;  // the tag stays as it is
    }
}
