#include "tags/id3v2/tag_id3v2.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "support/endian.h"
#include "tags/art_key.h"
#include "tags/id3v2/frames.h"
#include "tags/id3v2/slash_names.h"
#include "tags/id3v2/streams.h"

using namespace id3parser;

namespace {

constexpr std::size_t kCacheBytes = 16384;
constexpr std::u16string_view kUndefinedPicture = u"_Undefined";

// Reads an open file of `size` bytes from `base` on; that place is position 0.
class myStreamIn final : public streamIn {
  public:
    myStreamIn(clFile& file, std::uint64_t base, std::uint64_t size) noexcept
        : file_(file), base_(base), size_(size), position_(base) {}

    std::uint64_t read(std::byte* buffer, std::uint64_t length) override {
        const std::uint64_t came = file_.ReadAt(static_cast<std::int64_t>(position_), buffer, length);
        position_ += came;
        return came;
    }

    std::uint64_t skip(std::uint64_t length) override {
        std::array<std::byte, 1024> scratch;
        std::uint64_t done = 0;
        while (done < length) {
            const std::uint64_t step = std::min<std::uint64_t>(length - done, scratch.size());
            const std::uint64_t came = read(scratch.data(), step);
            done += came;
            if (came < step) break;
        }
        return done;
    }

    std::uint64_t tell() override { return position_ - base_; }
    void seek(std::uint64_t position) override { position_ = base_ + position; }

    bool leave(std::uint64_t length, std::int64_t& filePosition) override {
        if (position_ > size_ || length > size_ - position_) return false;
        filePosition = static_cast<std::int64_t>(position_);
        position_ += length;
        return true;
    }

  private:
    clFile& file_;
    std::uint64_t base_;
    std::uint64_t size_;
    std::uint64_t position_;
};

clString fromUtf8(std::string_view text) {
    clString wide;
    wide.SetFromUtf8(text);
    return wide;
}

const char16_t* versionText(std::uint32_t version) noexcept {
    if (version == kVersion22) return u"ID3v2.2";
    return version == kVersion23 ? u"ID3v2.3" : u"ID3v2.4";
}

void setJoined(clString& joined, const ValueList& values) {
    if (values.size() == 1) return joined.SetFromUtf8(values[0]);
    std::u16string text;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i > 0) text += u'\r';
        text += fromUtf8(values[i]).View();
    }
    joined.Set(std::u16string_view(text));
}

// Whether the picture was in order.
bool addPicture(IDTags& tags, const id3frame& frame, int number) {
    try {
        const PictureFields fields = pictureFields(frame.data);
        const clString description = fromUtf8(pictureDescription(frame.data));
        const std::u16string_view type = PictureTypeKeyPart(fields.type);
        const clString name = MakeArtKey(number, type.empty() ? kUndefinedPicture : type, description);
        if (frame.rest.size == 0) {
            tags.AddBinary(name, fields.image);
        } else {
            // All of the image stands in the file, in front of the rest what of it was read.
            const auto read = static_cast<std::uint32_t>(fields.image.size());
            tags.AddStored(name, {frame.rest.position - read, frame.rest.size + read});
        }
        return true;
    } catch (const parseError&) {
        return false;
    }
}

void addPictures(IDTags& tags, const id3tag& tag) {
    int number = 1;
    for (const id3frame& frame : tag.frames) {
        if (frame.id == kPictureFrame && addPicture(tags, frame, number)) ++number;
    }
}

void addTableOfContents(IDTags& tags, const id3tag& tag) {
    const auto found = std::find_if(tag.frames.begin(), tag.frames.end(),
                                    [](const id3frame& frame) { return frame.id == kTableOfContentsFrame; });
    if (found != tag.frames.end()) tags.AddBinary(kTableOfContentsName, found->data);
}

void rejoinNames(IDTags& tags) {
    for (const auto* name : {u"Artist", u"Artist Sort", u"Album Artist", u"Album Artist Sort"}) {
        IDTag* entry = tags.Find(name, false);
        if (entry == nullptr) continue;
        std::u16string value(entry->Value.View());
        rejoinSlashName(value);
        entry->Value.Set(std::u16string_view(value));
    }
}

// The identifier that a text in the ANSI code page begins with; a short one has zeros behind it.
std::uint32_t paddedFrameId(std::string name) {
    name.resize(4);
    return frameId(name);
}

}  // namespace

clString TagID3v2::TagName() const {
    return u"ID3v2";
}

bool TagID3v2::Read(IDTags& tags, bool wantVersion) noexcept {
    try {
        ReadTag(tags, wantVersion);
        return true;
    } catch (...) {
        return false;
    }
}

void TagID3v2::ReadTag(IDTags& tags, bool wantVersion) {
    tags.Clear();
    id3tag tag = EmptyTag();
    tag.leavePictures = leavesLargeValues;
    if (!readTagFrom(tag, file, tagOffset)) return;
    TagValues values;
    framesToValues(tag, values);
    if (wantVersion) tags.AddText(kTagVersionName, versionText(tag.version));
    for (const auto& [name, texts] : values) {
        if (name.starts_with('_')) continue;
        IDTag& entry = tags.Add();
        entry.Name.SetFromUtf8(name);
        setJoined(entry.Value, texts);
    }
    addPictures(tags, tag);
    addTableOfContents(tags, tag);
    rejoinNames(tags);
}

Presence TagID3v2::Look() noexcept {
    const bool there = tagSizeOnDisk() != 0;
    if (unreadable) return Presence::Unreadable;
    return there ? Presence::Present : Presence::Absent;
}

std::uint64_t TagID3v2::tagSizeOnDisk() noexcept {
    constexpr std::size_t kVersionAt = 3;
    constexpr std::size_t kFlagsAt = 5;
    constexpr std::size_t kSizeAt = 6;
    constexpr std::uint8_t kUnknownFlags = 0x0F;
    constexpr std::uint8_t kFooter = 0x10;
    constexpr std::uint64_t kFooterBytes = 10;
    constexpr std::string_view kFooterSignature = "3DI";

    std::array<std::byte, kTagHeaderBytes> header{};
    if (!ReadAt(tagOffset, header)) return 0;
    const auto flags = std::to_integer<std::uint8_t>(header[kFlagsAt]);
    if (std::memcmp(header.data(), kTagSignature.data(), kTagSignature.size()) != 0) return 0;
    if ((flags & kUnknownFlags) != 0 || (GetBig32(header.data() + kSizeAt) & kSynchsafeMask) != 0) return 0;
    const std::uint64_t size = readSynchsafe(header.data() + kSizeAt) + kTagHeaderBytes;
    // On the flag alone audio would be taken for the footer.
    if ((flags & kFooter) == 0 || header[kVersionAt] != std::byte{kVersion24}) return size;
    std::array<std::byte, kFooterSignature.size()> footer{};
    const bool stands = ReadAt(tagOffset + size, footer) &&
                        std::memcmp(footer.data(), kFooterSignature.data(), footer.size()) == 0;
    return stands ? size + kFooterBytes : size;
}

bool TagID3v2::ReadAt(std::uint64_t position, std::span<std::byte> bytes) noexcept {
    bool failed = false;
    const std::size_t came =
        file.ReadAt(static_cast<std::int64_t>(position), bytes.data(), bytes.size(), &failed);
    if (failed) unreadable = true;
    return came == bytes.size();
}

bool TagID3v2::readTagFrom(id3tag& tag, clFile& source, std::uint64_t position) noexcept {
    try {
        if (!source.IsOpen()) return false;
        const auto fileBytes = static_cast<std::uint64_t>(source.Size());
        tag.sourceBytes = fileBytes - std::min(fileBytes, position);
        myStreamIn stream(source, position, fileBytes);
        std::array<std::byte, kCacheBytes> room;
        streamInCache cache(stream, room);
        parseCallback callback;
        // No exception for what most files are.
        if (!cache.beginsWith(kTagSignature)) return false;
        parseTag(tag, cache, callback);
        return true;
    } catch (...) {
        tag.frames.clear();
        tag.version = 0;
        return false;
    }
}

id3tag TagID3v2::EmptyTag() const {
    id3tag tag;
    for (const IDTag* entry : frameNames) {
        tag.overrides[paddedFrameId(entry->Name.ToAnsi())] = entry->Value.ToAnsi();
    }
    return tag;
}
