#include "tags/art_key.h"

#include <array>
#include <string>

#include "tags/idtags.h"

namespace {

// In the order of the numbers, which begin at 1. The type name is what stands behind the underscore.
constexpr std::array<std::u16string_view, 20> kKeyParts{
    u"_32x32 Icon",
    u"_Other Icon",
    u"_Front Album Cover",
    u"_Back Album Cover",
    u"_Leaflet Page",
    u"_Media",
    u"_Lead Artist",
    u"_Artist",
    u"_Conductor",
    u"_Band",
    u"_Composer",
    u"_Writer",
    u"_Recording Location",
    u"_During Recording",
    u"_During Performance",
    u"_Video Capture",
    u"_A Bright Coloured Fish",
    u"_Illustration",
    u"_Artist Logo",
    u"_Publisher Logo",
};

// Where the "_" behind the number may stand at the earliest; the prefix has one of its own.
constexpr std::size_t kFirstSeparator = kArtPrefix.size();

constexpr std::u16string_view kHiddenPrefix = u"_";
constexpr std::u16string_view kRiffPrefix = u"_riff_";
constexpr std::array<std::u16string_view, 2> kSparedNames{u"_cdtoc", u"_crc"};

bool GoesWithHidden(std::u16string_view name) noexcept {
    if (!clString::BeginsWithNoCase(name, kHiddenPrefix)) return false;
    if (clString::BeginsWithNoCase(name, kRiffPrefix)) return false;
    for (const std::u16string_view spared : kSparedNames) {
        if (clString::EqualsNoCase(name, spared)) return false;
    }
    return true;
}

}  // namespace

std::u16string_view PictureTypeKeyPart(int number) noexcept {
    if (number < 1 || number > static_cast<int>(kKeyParts.size())) return {};
    return kKeyParts[static_cast<std::size_t>(number - 1)];
}

int PictureTypeFromName(std::u16string_view name) noexcept {
    for (std::size_t i = 0; i < kKeyParts.size(); ++i) {
        if (clString::EqualsNoCase(kKeyParts[i].substr(1), name)) return static_cast<int>(i) + 1;
    }
    return kFrontCover;
}

void SplitArtKey(std::u16string_view key, clString& typeName, clString& description) {
    std::u16string_view type;
    std::u16string_view text;
    const std::size_t separator = key.find(u'_', kFirstSeparator);
    if (separator != key.npos) type = key.substr(separator + 1);
    const std::size_t subdesc = type.find(kSubDescription);
    if (subdesc != type.npos) {
        text = type.substr(subdesc + kSubDescription.size());
        type = type.substr(0, subdesc);
    }
    typeName.Set(type);
    description.Set(text);
}

clString MakeArtKey(int number, std::u16string_view keyPart, std::u16string_view description) {
    clString key(kArtPrefix);
    key.Append(clString::FromInt(number));
    key.Append(keyPart);
    if (!description.empty()) {
        key.Append(kSubDescription);
        key.Append(description);
    }
    return key;
}

IDTag* IDTags::FindFirstArt(clString& typeName, clString& description) {
    const clString first = MakeArtKey(1, {});
    for (IDTag* tag : entries_) {
        Current = tag;
        if (!clString::BeginsWithNoCase(tag->Name, first)) continue;
        SplitArtKey(tag->Name, typeName, description);
        return tag;
    }
    typeName.Set(u"");
    description.Set(u"");
    return nullptr;
}

bool IDTags::RemoveArt(std::u16string_view typeName, std::u16string_view description) {
    IDTags kept;
    bool found = false;
    for (const IDTag* tag : entries_) {
        if (!clString::BeginsWithNoCase(tag->Name, kArtPrefix)) continue;
        clString type;
        clString text;
        SplitArtKey(tag->Name, type, text);
        if (clString::EqualsNoCase(type, typeName) || text.View() == description) {
            found = true;
            continue;
        }
        const std::u16string keyPart = u"_" + std::u16string(type.View());
        IDTag& picture = kept.AddBinary(MakeArtKey(kept.count() + 1, keyPart, text), tag->Data.bytes());
        picture.Stored = tag->Stored;
    }
    if (!found) return false;
    RemoveHidden();
    for (const IDTag* tag : kept) AddCopy(*tag);
    return true;
}

void IDTags::RemoveHidden() noexcept {
    RemoveNames([](const clString& name) { return GoesWithHidden(name); });
}
