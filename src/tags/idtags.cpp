#include "tags/idtags.h"

#include <bit>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>

#include "support/clfile.h"
#include "support/endian.h"

namespace {

constexpr std::size_t kCountBytes = 4;
constexpr std::size_t kLengthBytes = 4;

std::uint64_t EntryBytes(const IDTag& tag) noexcept {
    const auto units =
        static_cast<std::uint64_t>(tag.Name.size()) + static_cast<std::uint64_t>(tag.Value.size());
    return kLengthBytes + 2 * units + tag.Data.size() + tag.Stored.size;
}

std::byte* PutText(std::byte* target, const clString& text) noexcept {
    const char16_t* units = text.text();
    const auto bytes = 2 * static_cast<std::size_t>(text.size());
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(target, units, bytes);
    } else {
        for (std::size_t i = 0; i < bytes; i += 2) PutLittle16(target + i, units[i / 2]);
    }
    return target + bytes;
}

// Takes a NUL-terminated text off the front of `rest`; without a NUL in it nothing is taken.
void TakeText(std::span<const std::byte>& rest, clString& text) {
    std::u16string units;
    for (std::size_t i = 0; i + 2 <= rest.size(); i += 2) {
        const char16_t unit = GetLittle16(rest.data() + i);
        if (unit == 0) {
            text.Set(units);
            rest = rest.subspan(i + 2);
            return;
        }
        units += unit;
    }
}

}  // namespace

bool FetchStored(const StoredBytes& stored, clFile* source, std::byte* target) noexcept {
    if (stored.size == 0) return true;
    return source != nullptr && source->ReadAt(stored.position, target, stored.size) == stored.size;
}

std::u16string_view NormalisedTagName(std::u16string_view name, bool strip) noexcept {
    if (!strip || !clString::BeginsWithNoCase(name, kArtPrefix)) return name;
    return name.substr(0, name.find(kSubDescription));
}

IDTag& IDTags::Add() {
    auto tag = std::make_unique<IDTag>();
    entries_.Add(tag.get());
    Current = tag.release();
    return *Current;
}

IDTag& IDTags::AddText(std::u16string_view name, std::u16string_view value) {
    IDTag& tag = Add();
    tag.Name.Set(name);
    tag.Value.Set(value);
    return tag;
}

IDTag& IDTags::AddCopy(const IDTag& source) {
    IDTag& tag = Add();
    tag = source;
    return tag;
}

IDTag& IDTags::AddBinary(std::u16string_view name, std::span<const std::byte> bytes) {
    IDTag& tag = Add();
    tag.Name.Set(name);
    if (!tag.Data.Assign(bytes)) throw std::bad_alloc();
    return tag;
}

IDTag& IDTags::AddStored(std::u16string_view name, const StoredBytes& bytes) {
    IDTag& tag = Add();
    tag.Name.Set(name);
    tag.Stored = bytes;
    return tag;
}

IDTag* IDTags::Find(std::u16string_view name, bool strip) noexcept {
    const std::u16string_view wanted = NormalisedTagName(name, strip);
    for (IDTag* tag : entries_) {
        Current = tag;
        if (clString::EqualsNoCase(NormalisedTagName(tag->Name, strip), wanted)) return tag;
    }
    return nullptr;
}

bool IDTags::Remove(std::u16string_view name) noexcept {
    return RemoveNames([name](const clString& own) { return clString::EqualsNoCase(own, name); });
}

void IDTags::RemoveAt(int index) noexcept {
    const std::unique_ptr<IDTag> tag(entries_[index]);
    entries_.RemoveAt(index);
    if (Current == tag.get()) Current = nullptr;
}

void IDTags::Clear() noexcept {
    for (IDTag* tag : entries_) delete tag;
    entries_.Clear();
    Current = nullptr;
}

clString IDTags::TakeVersion() {
    for (int i = 0; i < count(); ++i) {
        Current = entries_[i];
        if (!clString::EqualsNoCase(entries_[i]->Name, kTagVersionName)) continue;
        clString version = std::move(entries_[i]->Value);
        RemoveAt(i);
        return version;
    }
    return {};
}

bool IDTags::Serialise(clBuffer& buffer, clFile* source) const noexcept {
    std::uint64_t total = kCountBytes;
    for (const IDTag* tag : entries_) total += EntryBytes(*tag);
    if (total > std::numeric_limits<std::uint32_t>::max() ||
        !buffer.Resize(static_cast<std::uint32_t>(total))) {
        buffer.Clear();
        return false;
    }
    std::byte* target = buffer.data();
    PutLittle32(target, static_cast<std::uint32_t>(count()));
    target += kCountBytes;
    for (const IDTag* tag : entries_) {
        PutLittle32(target, static_cast<std::uint32_t>(EntryBytes(*tag)));
        target = PutText(target + kLengthBytes, tag->Name);
        target = PutText(target, tag->Value);
        if (!tag->Data.empty()) std::memcpy(target, tag->Data.data(), tag->Data.size());
        target += tag->Data.size();
        if (!FetchStored(tag->Stored, source, target)) {
            buffer.Clear();
            return false;
        }
        target += tag->Stored.size;
    }
    return true;
}

void IDTags::Parse(const void* bytes, std::int32_t size) {
    Clear();
    if (bytes == nullptr || size <= static_cast<std::int32_t>(kCountBytes)) return;
    std::span<const std::byte> blob(static_cast<const std::byte*>(bytes), static_cast<std::size_t>(size));
    const auto stated = static_cast<std::int32_t>(GetLittle32(blob.data()));
    blob = blob.subspan(kCountBytes);
    for (std::int32_t read = 0; read < stated && !blob.empty(); ++read) {
        // A length that is cut off by the end of the blob fits no better than one that points behind it.
        if (blob.size() < kLengthBytes) return;
        const auto length = static_cast<std::int32_t>(GetLittle32(blob.data()));
        if (length < 0 || static_cast<std::size_t>(length) > blob.size()) return;
        // What is shorter than its own length field has neither name nor value.
        const std::size_t left = static_cast<std::size_t>(length) > kLengthBytes
                                     ? static_cast<std::size_t>(length) - kLengthBytes
                                     : 0;
        IDTag& tag = Add();
        std::span<const std::byte> rest = blob.subspan(kLengthBytes, left);
        TakeText(rest, tag.Name);
        if (rest.empty()) return;
        TakeText(rest, tag.Value);
        if (!rest.empty() && !tag.Data.Assign(rest)) throw std::bad_alloc();
        blob = blob.subspan(kLengthBytes + left);
    }
}
