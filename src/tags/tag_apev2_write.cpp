#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <new>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "support/endian.h"
#include "tags/apev2_format.h"
#include "tags/art_key.h"
#include "tags/multi_values.h"
#include "tags/replace_tail.h"
#include "tags/tag_apev2.h"
#include "tags/tag_index.h"

using namespace apev2;
using namespace std::string_view_literals;

namespace {

constexpr std::uint32_t kBinaryFlags = 2;

// Readers expect a file name with a NUL in front of a picture; the path means nothing.
constexpr std::string_view kJpegName = "C:\\Pretend.jpg\0"sv;
constexpr std::uint32_t kSignatureBytes = 4;  // of a picture, which tell its kind
constexpr std::string_view kPngName = "C:\\Pretend.png\0"sv;

// One item as it will be written. What is binary is borrowed from the entry, or still in the file.
struct Item {
    std::string key;
    std::string text;  // the value, or what goes in front of a picture
    std::span<const std::byte> data;
    StoredBytes stored;
    std::uint32_t flags = 0;

    std::uint64_t ValueBytes() const noexcept { return text.size() + data.size() + stored.size; }
    std::uint64_t Bytes() const noexcept { return kItemFixedBytes + key.size() + 1 + ValueBytes(); }
};

// From the tag's name to the item's key; true for a picture.
bool MapItemKey(clString& name) {
    if (clString::BeginsWithNoCase(name, kArtPrefix)) {
        clString typeName;
        clString description;
        SplitArtKey(name, typeName, description);
        const bool back = clString::EqualsNoCase(typeName, PictureTypeKeyPart(kBackCover).substr(1));
        name.Set(kCoverKey);
        name.Append(back ? kBackSide : kFrontSide);
        return true;
    }
    for (const KeyAndName& row : kKeyNames) {
        if (!clString::EqualsNoCase(name, row.name)) continue;
        name.Set(row.key);
        break;
    }
    return false;
}

std::string_view FileNameFor(std::span<const std::byte> picture) noexcept {
    const bool png = picture.size() >= kSignatureBytes && std::memcmp(picture.data() + 1, "PNG", 3) == 0;
    return png ? kPngName : kJpegName;
}

std::string Encoded(const clString& text, std::uint32_t version) {
    return version == kVersion1 ? text.ToAnsi() : std::string(text.Utf8());
}

// False when the file `source` doesn't give what is left in it.
bool MakeItem(const IDTag& tag, std::uint32_t version, clFile& source, Item& item) {
    clString key = tag.Name;
    const bool isArt = MapItemKey(key);
    item.key = Encoded(key, version);
    if (tag.Value.IsEmpty() && (!tag.Data.empty() || tag.Stored.size > 0)) {
        item.flags = kBinaryFlags;
        item.data = tag.Data.bytes();
        item.stored = tag.Stored;
        if (!isArt) return true;
        std::array<std::byte, kSignatureBytes> front{};
        const bool stored = tag.Stored.size >= front.size();
        if (stored && !FetchStored({tag.Stored.position, kSignatureBytes}, &source, front.data()))
            return false;
        item.text = FileNameFor(stored ? std::span<const std::byte>(front) : item.data);
        return true;
    }
    item.text = Encoded(tag.Value, version);
    if (IsMultiValueName(key)) {
        std::replace(item.text.begin(), item.text.end(), static_cast<char>(kValueSeparator), '\0');
    }
    if (version == kVersion1) item.text.push_back('\0');
    return true;
}

std::byte* PutBytes(std::byte* target, const void* bytes, std::size_t count) noexcept {
    if (count > 0) std::memcpy(target, bytes, count);
    return target + count;
}

// Moves `target` behind the item; false when the file doesn't give what is left in it.
bool PutItem(std::byte*& target, const Item& item, clFile& source) noexcept {
    PutLittle32(target, static_cast<std::uint32_t>(item.ValueBytes()));
    PutLittle32(target + kItemFlagsOffset, item.flags);
    target = PutBytes(target + kItemFixedBytes, item.key.c_str(), item.key.size() + 1);
    target = PutBytes(target, item.text.data(), item.text.size());
    target = PutBytes(target, item.data.data(), item.data.size());
    if (!FetchStored(item.stored, &source, target)) return false;
    target += item.stored.size;
    return true;
}

// The header or the footer.
std::byte* PutFooter(std::byte* target, std::uint32_t version, std::uint32_t tagSize, std::size_t itemCount,
                     std::uint32_t flags) noexcept {
    std::memset(target, 0, kFooterBytes);
    std::memcpy(target, kMagic.data(), kMagic.size());
    PutLittle32(target + kVersionOffset, version);
    PutLittle32(target + kSizeOffset, tagSize);
    PutLittle32(target + kCountOffset, static_cast<std::uint32_t>(itemCount));
    PutLittle32(target + kFlagsOffset, flags);
    return target + kFooterBytes;
}

// What an entry takes in a file at most, in whatever encoding.
std::uint64_t LargestValue(const IDTag& tag) noexcept {
    constexpr std::uint64_t kUtf8Bytes = 3;  // for one unit of UTF-16
    return kUtf8Bytes * static_cast<std::uint64_t>(tag.Value.Length()) + tag.Data.size() + kJpegName.size();
}

// The bytes from the beginning of the tag to the end of the file.
struct Tail {
    clBuffer bytes;
    std::size_t lasting = 0;  // the others are the bridge
};

// Renders the tag, what stands behind it, and a bridge for a file that becomes shorter: a second footer for
// the same items, and what stands behind it. A process that is ended before the file is cut leaves a tag with
// this footer; without it the end of the file would be some bytes of the old one, and no reader would find
// any tag. False when there is no memory, when the tag is larger than the format can say, when a value is
// larger than a reader takes, or when `source` doesn't give a value that is still in it.
bool RenderTail(const IDTags& tags, clFile& source, std::uint32_t version, std::span<const std::byte> behind,
                Tail& tail) {
    const std::size_t headerBytes = version == kVersion2 ? kFooterBytes : 0;
    const std::uint32_t flags = headerBytes > 0 ? kHasHeader : 0;
    std::vector<Item> items;
    std::uint64_t tagSize = kFooterBytes;
    for (const IDTag* tag : tags) {
        if (!MakeItem(*tag, version, source, items.emplace_back())) return false;
        if (items.back().ValueBytes() > kLargestValue) return false;
        tagSize += items.back().Bytes();
    }
    const std::uint64_t bridge = behind.size() + kFooterBytes;
    const std::uint64_t lasting = headerBytes + tagSize + behind.size();
    if (lasting + bridge > std::numeric_limits<std::uint32_t>::max()) return false;
    if (!tail.bytes.Resize(static_cast<std::uint32_t>(lasting + bridge))) return false;
    tail.lasting = static_cast<std::size_t>(lasting);

    const auto statedSize = static_cast<std::uint32_t>(tagSize);
    std::byte* target = tail.bytes.data();
    if (headerBytes > 0) target = PutFooter(target, version, statedSize, items.size(), flags | kIsHeader);
    for (const Item& item : items) {
        if (!PutItem(target, item, source)) return false;
    }
    target = PutFooter(target, version, statedSize, items.size(), flags);
    target = PutBytes(target, behind.data(), behind.size());
    const auto bridgedSize = static_cast<std::uint32_t>(tagSize + bridge);
    target = PutFooter(target, version, bridgedSize, items.size(), flags);
    PutBytes(target, behind.data(), behind.size());
    return true;
}

// From 0 to 10 to the file's 0 to 5 with halves.
clString RatingForFile(const clString& value) {
    return clString::FromDouble(0.5 * static_cast<std::int32_t>(value.ToInt()), 1, false);
}

}  // namespace

bool TagAPEv2::Write(const IDTags& tags, bool merge) noexcept {
    try {
        return file.IsOpen() && WriteTag(tags, merge);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool TagAPEv2::WriteTag(const IDTags& tags, bool merge) {
    IDTags result;
    if (ReadTag(result, kForWriting) == Outcome::Unreadable) return false;
    if (!merge) result.Clear();

    TagIndex index(result, true);
    IDTags given;
    for (const IDTag* tag : tags) {
        IDTag& copy = given.AddCopy(*tag);
        if (merge && clString::EqualsNoCase(copy.Name, kRatingName)) copy.Value = RatingForFile(copy.Value);
        AdjustJukeBoxName(copy.Name, index);
    }
    for (IDTag* tag : given) {
        if (IDTag* old = index.Find(tag->Name)) {
            *old = std::move(*tag);
        } else {
            IDTag& added = result.Add();
            added = std::move(*tag);
            index.Add(added);
        }
    }

    if (TagVersionNumber == 0) TagVersionNumber = NewVersion();
    if (result.count() == 0) return ReplaceTail(file, TagStart, BehindTag(), BehindTag().size());
    Tail tail;
    return RenderTail(result, file, TagVersionNumber, BehindTag(), tail) &&
           ReplaceBy(tail.bytes.bytes(), tail.lasting);
}

bool TagAPEv2::ReplaceBy(std::span<const std::byte> bytes, std::size_t lasting) noexcept {
    // The bridge is in the way of a file that grows, and of no use where the old footer stays whole till the
    // cut.
    const std::int64_t shrinksBy = file.Size() - TagStart - static_cast<std::int64_t>(lasting);
    const auto bridge = static_cast<std::int64_t>(bytes.size() - lasting);
    const bool bridged = shrinksBy > 0 && shrinksBy < bridge;
    return ReplaceTail(file, TagStart, bridged ? bytes : bytes.first(lasting), lasting);
}

std::span<const std::byte> TagAPEv2::BehindTag() const noexcept {
    if (SavedID3v1.front() == std::byte{0}) return {};
    return SavedID3v1;
}

std::uint32_t TagAPEv2::NewVersion() const noexcept {
    return WriteVersion1 ? kVersion1 : kVersion2;
}

bool TagAPEv2::Takes(const IDTags& tags) noexcept {
    try {
        return TakesAll(tags);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool TagAPEv2::TakesAll(const IDTags& tags) {
    std::uint32_t version = 0;
    for (const IDTag* tag : tags) {
        if (LargestValue(*tag) <= kLargestValue) continue;
        if (version == 0) {
            Record footer;
            version = FindFooter(footer) == Presence::Present ? footer.version : NewVersion();
        }
        Item item;
        if (!MakeItem(*tag, version, file, item) || item.ValueBytes() > kLargestValue) return false;
    }
    return true;
}

bool TagAPEv2::Delete() noexcept {
    try {
        IDTags tags;
        const Outcome outcome = ReadTag(tags, kForWriting);
        if (outcome != Outcome::Whole) return outcome == Outcome::Damaged;
        return ReplaceTail(file, TagStart, BehindTag(), BehindTag().size());
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool TagAPEv2::DeleteTag(std::u16string_view name) noexcept {
    try {
        return DeleteName(name);
    } catch (const std::bad_alloc&) {
        return false;  // before anything was written
    }
}

bool TagAPEv2::DeleteName(std::u16string_view name) {
    IDTags tags;
    const Outcome outcome = ReadTag(tags, kForWriting);
    if (outcome != Outcome::Whole) return outcome == Outcome::Damaged;
    bool removed = false;
    if (clString::BeginsWithNoCase(name, kArtPrefix)) {
        clString typeName;
        clString description;
        SplitArtKey(name, typeName, description);
        removed = tags.RemoveArt(typeName, description);
    } else {
        clString adjusted(name);
        AdjustJukeBoxName(adjusted, TagIndex(tags, true));
        removed = tags.Remove(adjusted);
    }
    // The entries are in the file's own form, ratings too, which a merge would convert.
    return !removed || Write(tags, false);
}

void TagAPEv2::AdjustJukeBoxName(clString& name, const TagIndex& existing) {
    clString prefixed(kJukeBoxPrefix);
    prefixed.Append(name);
    if (existing.HasPrefix(prefixed)) name = prefixed;
}
