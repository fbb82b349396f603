#include <algorithm>
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
#include "tags/tag_apev2.h"
#include "tags/tag_index.h"

using namespace apev2;

namespace {

constexpr std::uint32_t kBinaryFlags = 2;

// Readers expect a file name in front of a picture; the path means nothing.
constexpr std::string_view kJpegName{"C:\\Pretend.jpg", 15};  // with its NUL
constexpr std::string_view kPngName{"C:\\Pretend.png", 15};

// One item as it will be written. What is binary is borrowed from the entry.
struct Item {
    std::string key;
    std::string text;  // the value, or what goes in front of a picture
    std::span<const std::byte> data;
    std::uint32_t flags = 0;

    std::uint64_t ValueBytes() const noexcept { return text.size() + data.size(); }
    std::uint64_t Bytes() const noexcept { return kItemFixedBytes + key.size() + 1 + ValueBytes(); }
};

// From the tag's name to the item's key; true for a picture.
bool MapItemKey(clString& name) {
    if (clString::BeginsWithNoCase(name, kArtPrefix)) {
        clString typeName;
        clString description;
        SplitArtKey(name, typeName, description);
        const bool back = typeName.View() == PictureTypeKeyPart(kBackCover).substr(1);
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
    const bool png = picture.size() >= 4 && std::memcmp(picture.data() + 1, "PNG", 3) == 0;
    return png ? kPngName : kJpegName;
}

std::string Encoded(const clString& text, std::uint32_t version) {
    return version == kVersion1 ? text.ToAnsi() : std::string(text.Utf8());
}

Item MakeItem(const IDTag& tag, std::uint32_t version) {
    Item item;
    clString key = tag.Name;
    const bool isArt = MapItemKey(key);
    item.key = Encoded(key, version);
    if (tag.Value.IsEmpty() && !tag.Data.empty()) {
        item.flags = kBinaryFlags;
        item.data = tag.Data.bytes();
        if (isArt) item.text = FileNameFor(item.data);
        return item;
    }
    item.text = Encoded(tag.Value, version);
    if (IsMultiValueName(key)) {
        std::replace(item.text.begin(), item.text.end(), static_cast<char>(kValueSeparator), '\0');
    }
    if (version == kVersion1) item.text.push_back('\0');
    return item;
}

std::byte* PutBytes(std::byte* target, const void* bytes, std::size_t count) noexcept {
    if (count > 0) std::memcpy(target, bytes, count);
    return target + count;
}

std::byte* PutItem(std::byte* target, const Item& item) noexcept {
    PutLittle32(target, static_cast<std::uint32_t>(item.ValueBytes()));
    PutLittle32(target + kItemFlagsOffset, item.flags);
    target = PutBytes(target + kItemFixedBytes, item.key.c_str(), item.key.size() + 1);
    target = PutBytes(target, item.text.data(), item.text.size());
    return PutBytes(target, item.data.data(), item.data.size());
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

// The whole tag; false when there is no memory for it or it is larger than the format can say.
bool RenderTag(const IDTags& tags, std::uint32_t version, clBuffer& buffer) {
    const std::size_t headerBytes = version == kVersion2 ? kFooterBytes : 0;
    std::vector<Item> items;
    std::uint64_t tagSize = kFooterBytes;
    for (const IDTag* tag : tags) {
        items.push_back(MakeItem(*tag, version));
        tagSize += items.back().Bytes();
    }
    const std::uint64_t total = tagSize + headerBytes;
    if (total > std::numeric_limits<std::uint32_t>::max()) return false;
    if (!buffer.Resize(static_cast<std::uint32_t>(total))) return false;

    const auto statedSize = static_cast<std::uint32_t>(tagSize);
    const std::uint32_t flags = headerBytes > 0 ? kHasHeader : 0;
    std::byte* target = buffer.data();
    if (headerBytes > 0) target = PutFooter(target, version, statedSize, items.size(), flags | kIsHeader);
    for (const Item& item : items) target = PutItem(target, item);
    PutFooter(target, version, statedSize, items.size(), flags);
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
    ReadRaw(result, false, true);
    if (!merge) result.Clear();

    IDTags given;
    for (const IDTag* tag : tags) {
        IDTag& copy = given.AddCopy(*tag);
        if (merge && clString::EqualsNoCase(copy.Name, kRatingName)) copy.Value = RatingForFile(copy.Value);
        AdjustJukeBoxName(copy.Name, result);
    }
    TagIndex index(result, true);
    for (IDTag* tag : given) {
        if (IDTag* old = index.Find(tag->Name)) {
            *old = std::move(*tag);
        } else {
            IDTag& added = result.Add();
            added = std::move(*tag);
            index.Add(added);
        }
    }

    if (TagVersionNumber == 0) TagVersionNumber = WriteVersion1 ? kVersion1 : kVersion2;
    if (TagStart != -1 && !file.SetLength(TagStart)) return false;
    if (result.count() > 0 && !AppendTag(result)) return false;
    AppendSavedId3v1();
    return true;
}

bool TagAPEv2::AppendTag(const IDTags& tags) {
    clBuffer buffer;
    if (!RenderTag(tags, TagVersionNumber, buffer)) return false;
    if (file.Write(buffer.data(), buffer.size(), clFile::Where::End)) return true;
    // Half a tag would be junk that no later write finds.
    if (TagStart != -1) file.SetLength(TagStart);
    return false;
}

void TagAPEv2::AppendSavedId3v1() noexcept {
    if (SavedID3v1.front() == std::byte{0}) return;
    file.Write(SavedID3v1.data(), SavedID3v1.size(), clFile::Where::End);
}

void TagAPEv2::Delete() noexcept {
    IDTags tags;
    if (Read(tags, false) && TagStart != -1 && file.SetLength(TagStart)) AppendSavedId3v1();
}

void TagAPEv2::DeleteTag(std::u16string_view name) noexcept {
    try {
        DeleteName(name);
    } catch (const std::bad_alloc&) {
        return;  // before anything was written
    }
}

void TagAPEv2::DeleteName(std::u16string_view name) {
    IDTags tags;
    if (!ReadRaw(tags, false, true)) return;
    bool removed = false;
    if (clString::BeginsWithNoCase(name, kArtPrefix)) {
        clString typeName;
        clString description;
        SplitArtKey(name, typeName, description);
        removed = tags.RemoveArt(typeName, description);
    } else {
        clString adjusted(name);
        AdjustJukeBoxName(adjusted, tags);
        removed = tags.Remove(adjusted);
    }
    // The entries are in the file's own form, ratings too, which a merge would convert.
    if (removed) Write(tags, false);
}

void TagAPEv2::AdjustJukeBoxName(clString& name, const IDTags& existing) {
    clString prefixed(kJukeBoxPrefix);
    prefixed.Append(name);
    for (const IDTag* tag : existing) {
        if (!clString::BeginsWithNoCase(tag->Name, prefixed)) continue;
        name = prefixed;
        return;
    }
}
