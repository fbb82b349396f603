#include "tags/tag_id3v1.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <span>
#include <string>

#include "tags/apev2_layout.h"
#include "tags/id3v1_genres.h"
#include "tags/multi_values.h"
#include "tags/replace_tail.h"

using namespace id3v1;

namespace {

struct Field {
    const char16_t* name;
    std::size_t offset;
    std::size_t length;
};

constexpr std::array<Field, 5> kFields{{
    {u"Title", 3, 30},
    {u"Artist", 33, 30},
    {u"Album", 63, 30},
    {u"Year", 93, 4},
    {u"Comment", 97, 30},
}};
constexpr std::size_t kCommentOffset = 97;

constexpr const char16_t* kGenreName = u"Genre";
constexpr const char16_t* kTrackName = u"Track";

// A 0 at the mark makes the byte behind it a track number and the tag one of version 1.1.
constexpr std::size_t kTrackMarkOffset = 125;
constexpr std::size_t kTrackOffset = 126;
constexpr std::size_t kGenreOffset = 127;
constexpr std::size_t kCommentBytesWithTrack = kTrackMarkOffset - kCommentOffset;

// Between the values of one field.
constexpr std::u16string_view kFieldSeparator = u"; ";

using TagBytes = std::array<std::byte, kId3v1Bytes>;

std::u16string ReplaceAll(std::u16string_view text, std::u16string_view from, std::u16string_view to) {
    std::u16string result;
    for (std::size_t next = text.find(from); next != text.npos; next = text.find(from)) {
        result.append(text.substr(0, next)).append(to);
        text.remove_prefix(next + from.size());
    }
    return result.append(text);
}

std::u16string_view WithoutBlanks(std::u16string_view text) noexcept {
    const std::size_t first = text.find_first_not_of(u' ');
    return first == text.npos ? std::u16string_view()
                              : text.substr(first, text.find_last_not_of(u' ') + 1 - first);
}

// Adds an entry unless the text is empty or blank.
void AddField(IDTags& tags, const Field& field, std::span<const std::byte, kId3v1Bytes> bytes) {
    clString text;
    text.SetFromAnsi({reinterpret_cast<const char*>(bytes.data()) + field.offset, field.length});
    std::u16string value(text.View());
    if (IsMultiValueName(field.name)) value = ReplaceAll(value, kFieldSeparator, {&kValueSeparator, 1});
    const std::u16string_view trimmed = WithoutBlanks(value);
    if (!trimmed.empty()) tags.AddText(field.name, trimmed);
}

std::int64_t TrackNumber(IDTags& tags) {
    const IDTag* track = tags.Find(kTrackName, false);
    return track != nullptr ? track->Value.ToInt() : 0;
}

// Whether the field holds something now.
bool PutField(IDTags& tags, const Field& field, std::size_t limit, TagBytes& bytes) {
    const IDTag* tag = tags.Find(field.name, false);
    if (tag == nullptr || tag->Value.IsEmpty()) return false;
    clString value = tag->Value;
    if (IsMultiValueName(tag->Name)) {
        value = std::u16string_view(ReplaceAll(value, {&kValueSeparator, 1}, kFieldSeparator));
    }
    const std::string ansi = value.ToAnsi();
    std::memcpy(bytes.data() + field.offset, ansi.data(), std::min(ansi.size(), limit));
    return true;
}

// Whether there is a genre now. Only the first of several counts.
bool PutGenre(IDTags& tags, TagBytes& bytes) {
    const IDTag* tag = tags.Find(kGenreName, false);
    if (tag == nullptr) return false;
    const std::u16string_view all = tag->Value;
    const std::u16string_view genre = all.substr(0, all.find(kValueSeparator));
    const auto row = std::find_if(kGenres.begin(), kGenres.end(), [genre](std::u16string_view name) {
        return clString::EqualsNoCase(name, genre);
    });
    const auto number = static_cast<std::size_t>(row - kGenres.begin());
    if (number >= kGenreNoGenre) return false;
    bytes[kGenreOffset] = static_cast<std::byte>(number);
    return true;
}

bool HasPlaceFor(std::u16string_view name) noexcept {
    return clString::EqualsNoCase(name, kGenreName) || clString::EqualsNoCase(name, kTrackName) ||
           std::any_of(kFields.begin(), kFields.end(),
                       [name](const Field& field) { return clString::EqualsNoCase(name, field.name); });
}

// Whether the tags have anything that the format holds.
bool RenderTag(IDTags& tags, bool withTrack, TagBytes& bytes) {
    bytes.fill(std::byte{0});
    std::memcpy(bytes.data(), "TAG", 3);
    bytes[kGenreOffset] = std::byte{kGenreNone};
    const std::int64_t track = withTrack ? TrackNumber(tags) : 0;
    bool content = track != 0;
    for (const Field& field : kFields) {
        const bool shortened = field.offset == kCommentOffset && track != 0;
        if (PutField(tags, field, shortened ? kCommentBytesWithTrack : field.length, bytes)) content = true;
    }
    // The number's low 8 bits; the mark in front of it is 0 already.
    if (track != 0) bytes[kTrackOffset] = static_cast<std::byte>(track & 0xFF);
    if (PutGenre(tags, bytes)) content = true;
    return content;
}

}  // namespace

void TagID3v1::SetOption(std::u16string_view option) noexcept {
    if (option == u"ID3v1Write10") WriteVersion10 = true;
}

clString TagID3v1::TagName() const {
    return u"ID3v1";
}

Presence TagID3v1::Look() noexcept {
    const TailState state = FileTail().state;
    if (state == TailState::Unreadable) return Presence::Unreadable;
    return state == TailState::Tag ? Presence::Present : Presence::Absent;
}

bool TagID3v1::Read(IDTags& tags, bool wantVersion) noexcept {
    try {
        const TailState state = ReadTag(tags, wantVersion);
        return state == TailState::Tag || state == TailState::NoTag;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

TailState TagID3v1::ReadTag(IDTags& tags, bool wantVersion) {
    tags.Clear();
    const Id3v1Tail tail = FileTail();
    if (tail.state != TailState::Tag) return tail.state;

    const auto bytes = tail.Tag();
    for (const Field& field : kFields) AddField(tags, field, bytes);
    const auto genre = std::to_integer<std::size_t>(bytes[kGenreOffset]);
    if (genre < kGenreNoGenre) tags.AddText(kGenreName, kGenres[genre]);
    const bool hasTrack = bytes[kTrackMarkOffset] == std::byte{0} && bytes[kTrackOffset] != std::byte{0};
    if (hasTrack) tags.AddText(kTrackName, clString::FromInt(std::to_integer<int>(bytes[kTrackOffset])));
    if (wantVersion && tags.count() > 0) tags.AddText(kTagVersionName, hasTrack ? u"ID3v1.1" : u"ID3v1.0");
    return TailState::Tag;
}

bool TagID3v1::Write(const IDTags& tags, bool merge) noexcept {
    try {
        return file.IsOpen() && WriteTag(tags, merge);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool TagID3v1::WriteTag(const IDTags& tags, bool merge) {
    IDTags result;
    const TailState state = ReadTag(result, false);
    if (state == TailState::Unreadable) return false;
    const bool blank = result.count() == 0;
    if (!merge) result.Clear();
    for (const IDTag* tag : tags) {
        if (!HasPlaceFor(tag->Name)) continue;
        IDTag* old = result.Find(tag->Name, false);
        (old != nullptr ? *old : result.Add()) = *tag;
    }
    TagBytes bytes;
    const bool content = RenderTag(result, !WriteVersion10, bytes);

    bool failed = false;
    const std::int64_t size = file.Size(&failed);
    if (failed) return false;
    const std::int64_t tagStart = size - static_cast<std::int64_t>(kId3v1Bytes);
    bool replaces = !blank;
    if (state == TailState::Tag && blank && content) {
        // A new tag behind a blank one would put an APE tag in front out of every reader's reach.
        apev2::Record footer;
        const Presence ape = apev2::ReadFooter(file, tagStart, footer);
        if (ape == Presence::Unreadable) return false;
        replaces = ape == Presence::Present;
    }
    const std::size_t newBytes = content ? bytes.size() : 0;
    return ReplaceTail(file, replaces ? tagStart : size, std::span<const std::byte>(bytes).first(newBytes),
                       newBytes);
}

bool TagID3v1::Delete() noexcept {
    const Presence there = Look();
    if (there != Presence::Present) return there == Presence::Absent;
    bool failed = false;
    const std::int64_t size = file.Size(&failed);
    return !failed && file.SetLength(size - static_cast<std::int64_t>(kId3v1Bytes));
}

bool TagID3v1::DeleteTag(std::u16string_view name) noexcept {
    try {
        IDTags tags;
        if (ReadTag(tags, false) == TailState::Unreadable) return false;
        return !tags.Remove(name) || Write(tags, false);
    } catch (const std::bad_alloc&) {
        return false;
    }
}
