#include "tags/tag_apev2.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <span>
#include <utility>

#include "support/endian.h"
#include "tags/apev2_format.h"
#include "tags/apev2_items.h"
#include "tags/apev2_layout.h"
#include "tags/art_key.h"
#include "tags/multi_values.h"

using namespace apev2;

namespace {

constexpr std::u16string_view kCoverPrefix = u"Cover Art (";

std::string_view Characters(std::span<const std::byte> bytes) noexcept {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Turns the items of one tag into entries.
class ItemReader {
  public:
    ItemReader(std::uint32_t version, IDTags& tags) noexcept : version_(version), tags_(tags) {}

    // `leftAt` is the place in the file of a value that was left there, else negative.
    void Add(const StoredItem& item, std::int64_t leftAt) {
        if (item.key.empty() || item.value.empty()) return;
        clString name;
        SetText(name, item.key);
        const bool isArt = MapItemKey(name);
        if (item.type == ItemType::Text) {
            AddText(std::move(name), item.value);
        } else if (item.type == ItemType::Binary)
            AddBinary(name, item.value, isArt, leftAt);
    }

  private:
    // The version alone decides on the encoding.
    void SetText(clString& target, std::string_view bytes) const {
        if (version_ == kVersion1) {
            target.SetFromAnsi(bytes);
        } else {
            target.SetFromUtf8(bytes);
        }
    }

    // From the item's key to the tag's name; true for a picture.
    bool MapItemKey(clString& name) {
        if (clString::BeginsWithNoCase(name, kCoverPrefix)) {
            name = MakeArtKey(++artCount_, SideKeyPart(name.View().substr(kCoverKey.size())));
            return true;
        }
        for (const KeyAndName& row : kKeyNames) {
            if (!clString::EqualsNoCase(name, row.key)) continue;
            name.Set(row.name);
            break;
        }
        return false;
    }

    static std::u16string_view SideKeyPart(std::u16string_view side) noexcept {
        if (clString::EqualsNoCase(side, kFrontSide)) return PictureTypeKeyPart(kFrontCover);
        if (clString::EqualsNoCase(side, kBackSide)) return PictureTypeKeyPart(kBackCover);
        return {};
    }

    // A NUL separates two values; in the last byte it merely ends the text.
    void AddText(clString name, std::span<std::byte> value) {
        std::replace(value.begin(), value.end() - 1, std::byte{0}, static_cast<std::byte>(kValueSeparator));
        IDTag& tag = tags_.Add();
        tag.Name = std::move(name);
        SetText(tag.Value, Characters(value));
    }

    // A picture's bytes stand behind a file name and a NUL.
    void AddBinary(const clString& name, std::span<const std::byte> value, bool isArt, std::int64_t leftAt) {
        std::size_t inFront = 0;
        if (isArt) {
            const std::size_t fileName = Characters(value).find('\0');
            if (fileName == std::string_view::npos || fileName + 1 == value.size()) return;
            inFront = fileName + 1;
        }
        value = value.subspan(inFront);
        if (leftAt < 0) {
            tags_.AddBinary(name, value);
        } else {
            tags_.AddStored(name, {leftAt + static_cast<std::int64_t>(inFront),
                                   static_cast<std::uint32_t>(value.size())});
        }
    }

    std::uint32_t version_;
    IDTags& tags_;
    int artCount_ = 0;
};

// From 0 to 5 with halves in the file to 0 to 10.
clString RatingFromFile(const clString& value) {
    constexpr double kLargest = 9e18;  // fits 64 bits
    const double doubled = value.ToDouble() * 2;
    return clString::FromInt(
        std::isnan(doubled) ? 0 : static_cast<std::int64_t>(std::clamp(doubled, -kLargest, kLargest)));
}

void MakeNamesOurs(IDTags& tags) {
    for (IDTag* tag : tags) {
        if (clString::BeginsWithNoCase(tag->Name, kJukeBoxPrefix)) {
            tag->Name.Erase(1, static_cast<std::int32_t>(kJukeBoxPrefix.size()));
        }
        if (clString::EqualsNoCase(tag->Name, kRatingName)) tag->Value = RatingFromFile(tag->Value);
    }
}

}  // namespace

void TagAPEv2::SetOption(std::u16string_view option) noexcept {
    if (option == u"APEWriteAPE1Tag") WriteVersion1 = true;
}

clString TagAPEv2::TagName() const {
    return u"APE";
}

bool TagAPEv2::Read(IDTags& tags, bool wantVersion) noexcept {
    return ReadRaw(tags, wantVersion, false);
}

bool TagAPEv2::ReadRaw(IDTags& tags, bool wantVersion, bool keepRaw) noexcept {
    try {
        const Wanted wanted{.version = wantVersion, .raw = keepRaw, .storedValues = leavesLargeValues};
        return ReadTag(tags, wanted) == Outcome::Whole;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

Presence TagAPEv2::Look() noexcept {
    Record footer;
    return FindFooter(footer);
}

Presence TagAPEv2::FindFooter(Record& footer) noexcept {
    const Id3v1Tail tail = FileTail();
    if (tail.state == TailState::Unreadable) return Presence::Unreadable;
    if (tail.state == TailState::TooShort) return Presence::Absent;
    return FindFooterAtEnd(tail, footer);
}

Presence TagAPEv2::FindFooterAtEnd(const Id3v1Tail& tail, Record& footer) noexcept {
    if (tail.state == TailState::Tag)
        return ReadFooter(file, tail.fileSize - static_cast<std::int64_t>(kId3v1Bytes), footer);
    return JudgeFooter(file, tail.fileSize, std::span(tail.bytes).last<kFooterBytes>(), footer);
}

TagAPEv2::Outcome TagAPEv2::ReadTag(IDTags& tags, const Wanted& wanted) {
    tags.Clear();
    TagStart = -1;
    TagVersionNumber = 0;
    SavedID3v1.fill(std::byte{0});

    const Id3v1Tail tail = FileTail();
    // Not to be taken for a file without a tag: a writer would put its own behind one that is there.
    if (tail.state == TailState::Unreadable) return Outcome::Unreadable;
    TagStart = tail.fileSize;
    if (tail.state == TailState::TooShort) return Outcome::Whole;
    if (tail.state == TailState::Tag) {
        TagStart -= static_cast<std::int64_t>(kId3v1Bytes);
        std::copy(tail.Tag().begin(), tail.Tag().end(), SavedID3v1.begin());
    }

    Record footer;
    const Presence found = FindFooterAtEnd(tail, footer);
    if (found == Presence::Unreadable) return Outcome::Unreadable;
    if (found == Presence::Absent) return Outcome::Whole;
    TagVersionNumber = footer.version;
    if (footer.tagSize < kFooterBytes || footer.tagSize > TagStart) return Outcome::Damaged;
    if (!ReadItems(footer, wanted.storedValues, tags)) return Outcome::Unreadable;

    if (wanted.version && tags.count() > 0) {
        tags.AddText(kTagVersionName, TagVersionNumber == kVersion1 ? u"APEv1" : u"APEv2");
    }
    if (!wanted.raw) MakeNamesOurs(tags);
    return Outcome::Whole;
}

bool TagAPEv2::ReadItems(const Record& footer, bool storedValues, IDTags& tags) {
    const std::int64_t itemsStart = TagStart - footer.tagSize;
    // A header that would begin in front of the file isn't there.
    const bool roomForHeader = itemsStart >= static_cast<std::int64_t>(kFooterBytes);
    const std::size_t inFront = (footer.flags & kHasHeader) != 0 && roomForHeader ? kFooterBytes : 0;
    const std::int64_t start = itemsStart - static_cast<std::int64_t>(inFront);
    ItemBytes items(file, start);
    if (!items.Resize(static_cast<std::uint32_t>(inFront + footer.tagSize - kFooterBytes))) return false;
    const std::span<std::byte> bytes = items.bytes();
    if (storedValues ? !items.FetchAhead(inFront) : !items.Fetch(bytes.size())) return false;
    ItemReader reader(footer.version, tags);
    std::span<std::byte> rest = bytes.subspan(inFront);
    StoredItem item;
    for (std::uint32_t left = footer.itemCount; left > 0; --left) {
        const ItemBytes::Fetched fetched = items.FetchItem(bytes.size() - rest.size());
        if (fetched == ItemBytes::Fetched::Not) return false;
        if (!TakeItem(rest, item)) break;
        reader.Add(item, fetched == ItemBytes::Fetched::Whole ? -1 : items.PositionOf(item.value.data()));
    }
    TagStart = inFront > 0 && IsHeaderOf(bytes.data(), footer) ? start : itemsStart;
    return true;
}
