#include "tags/tag_apev2.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <span>

#include "support/endian.h"
#include "tags/apev2_format.h"
#include "tags/art_key.h"
#include "tags/multi_values.h"

using namespace apev2;

struct TagAPEv2::FooterFields {
    std::uint32_t version = 0;
    std::uint32_t tagSize = 0;
    std::uint32_t itemCount = 0;
    std::uint32_t flags = 0;
};

namespace {

constexpr std::uint32_t kLargestValue = 0x1000000;
constexpr std::u16string_view kCoverPrefix = u"Cover Art (";

enum class ItemType : std::uint32_t { Text = 0, Binary = 1, Locator = 2, Reserved = 3 };

struct Item {
    ItemType type;
    std::string_view key;
    std::span<std::byte> value;
};

std::string_view Characters(std::span<const std::byte> bytes) noexcept {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Takes an item off the front of `rest`; false at the first thing that doesn't fit.
bool TakeItem(std::span<std::byte>& rest, Item& item) noexcept {
    if (rest.size() < kItemFixedBytes) return false;
    const std::uint32_t valueSize = GetLittle32(rest.data());
    const std::uint32_t flags = GetLittle32(rest.data() + kItemFlagsOffset);
    if (valueSize > kLargestValue) return false;
    const std::span<std::byte> behind = rest.subspan(kItemFixedBytes);
    const std::size_t keyLength = Characters(behind).find('\0');
    if (keyLength == std::string_view::npos || behind.size() - keyLength - 1 < valueSize) return false;
    item.type = static_cast<ItemType>((flags >> 1) & 3);
    item.key = Characters(behind.first(keyLength));
    item.value = behind.subspan(keyLength + 1, valueSize);
    rest = behind.subspan(keyLength + 1 + valueSize);
    return true;
}

// Turns the items of one tag into entries.
class ItemReader {
  public:
    ItemReader(std::uint32_t version, IDTags& tags) noexcept : version_(version), tags_(tags) {}

    void Add(const Item& item) {
        if (item.key.empty() || item.value.empty()) return;
        clString name;
        SetText(name, item.key);
        const bool isArt = MapItemKey(name);
        if (item.type == ItemType::Text) AddText(name, item.value);
        if (item.type == ItemType::Binary) AddBinary(name, item.value, isArt);
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
    void AddText(const clString& name, std::span<std::byte> value) {
        std::replace(value.begin(), value.end() - 1, std::byte{0}, static_cast<std::byte>(kValueSeparator));
        IDTag& tag = tags_.Add();
        tag.Name = name;
        SetText(tag.Value, Characters(value));
    }

    // A picture's bytes stand behind a file name and a NUL.
    void AddBinary(const clString& name, std::span<const std::byte> value, bool isArt) {
        if (isArt) {
            const std::size_t fileName = Characters(value).find('\0');
            if (fileName == std::string_view::npos || fileName + 1 == value.size()) return;
            value = value.subspan(fileName + 1);
        }
        tags_.AddBinary(name, value);
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
        return ReadTag(tags, wantVersion, keepRaw);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool TagAPEv2::Exists() noexcept {
    bool failed = false;
    const std::int64_t size = file.Size(&failed);
    Id3v1Tail tail;
    const TailState state = failed ? TailState::OutOfReach : ReadId3v1Tail(file, tail);
    if (state == TailState::OutOfReach) return false;
    FooterFields footer;
    const std::int64_t end = state == TailState::Tag ? size - static_cast<std::int64_t>(kId3v1Bytes) : size;
    return ReadFooter(end, footer) == Footer::Present;
}

TagAPEv2::Footer TagAPEv2::ReadFooter(std::int64_t end, FooterFields& fields) noexcept {
    std::array<std::byte, kFooterBytes> footer{};
    if (!file.Seek(end - static_cast<std::int64_t>(kFooterBytes), clFile::Where::Start) ||
        file.Read(footer.data(), footer.size()) != footer.size()) {
        return Footer::Unreadable;
    }
    if (std::memcmp(footer.data(), kMagic.data(), kMagic.size()) != 0) return Footer::Absent;
    fields.version = GetLittle32(footer.data() + kVersionOffset);
    fields.tagSize = GetLittle32(footer.data() + kSizeOffset);
    fields.itemCount = GetLittle32(footer.data() + kCountOffset);
    fields.flags = GetLittle32(footer.data() + kFlagsOffset);
    // A header at the end is the rest of a tag that was cut off; its size counts what isn't there any more.
    if ((fields.flags & kIsHeader) != 0) return Footer::Absent;
    return fields.version == kVersion1 || fields.version == kVersion2 ? Footer::Present : Footer::Absent;
}

bool TagAPEv2::ReadTag(IDTags& tags, bool wantVersion, bool keepRaw) {
    tags.Clear();
    TagStart = -1;
    TagVersionNumber = 0;
    SavedID3v1.fill(std::byte{0});

    bool failed = false;
    const std::int64_t size = file.Size(&failed);
    if (failed) return false;
    TagStart = size;
    if (size < static_cast<std::int64_t>(kTailBytes)) return true;

    Id3v1Tail tail;
    const TailState state = ReadId3v1Tail(file, tail);
    if (state == TailState::OutOfReach) return false;
    if (state == TailState::Tag) {
        TagStart -= static_cast<std::int64_t>(kId3v1Bytes);
        std::copy(tail.Tag().begin(), tail.Tag().end(), SavedID3v1.begin());
    }

    FooterFields footer;
    const Footer found = ReadFooter(TagStart, footer);
    if (found != Footer::Present) return found == Footer::Absent;
    TagVersionNumber = footer.version;
    if (!ReadItems(footer, tags)) return false;

    if (wantVersion && tags.count() > 0) {
        tags.AddText(kTagVersionName, TagVersionNumber == kVersion1 ? u"APEv1" : u"APEv2");
    }
    if (!keepRaw) MakeNamesOurs(tags);
    return true;
}

bool TagAPEv2::ReadItems(const FooterFields& footer, IDTags& tags) {
    if (footer.tagSize < kFooterBytes || footer.tagSize > TagStart) return false;
    const std::int64_t itemsStart = TagStart - footer.tagSize;
    clBuffer items;
    if (!items.Resize(footer.tagSize - static_cast<std::uint32_t>(kFooterBytes)) ||
        !file.Seek(itemsStart, clFile::Where::Start) ||
        file.Read(items.data(), items.size()) != items.size()) {
        return false;
    }
    ItemReader reader(footer.version, tags);
    std::span<std::byte> rest = items.bytes();
    Item item;
    for (std::uint32_t left = footer.itemCount; left > 0 && TakeItem(rest, item); --left) reader.Add(item);

    // The header is taken on the flag's word, but not where it would begin in front of the file.
    constexpr auto kHeaderBytes = static_cast<std::int64_t>(kFooterBytes);
    const bool header = (footer.flags & kHasHeader) != 0 && itemsStart >= kHeaderBytes;
    TagStart = header ? itemsStart - kHeaderBytes : itemsStart;
    return true;
}
