// The one model of a file's tags: an ordered collection of named values, and its flat form at the border.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "support/clbuffer.h"
#include "support/cllists.h"
#include "support/clstring.h"

class clFile;

// Bytes that were left in the file that they were found in.
struct StoredBytes {
    std::int64_t position = 0;
    std::uint32_t size = 0;
};

// Reads them to `target`; false when the file, which may be null for none of them, doesn't give them.
bool FetchStored(const StoredBytes& stored, clFile* source, std::byte* target) noexcept;

// Who may leave large values in the file doesn't do so below this many bytes.
inline constexpr std::uint32_t kSmallestLeft = 16384;

// A text tag has an empty Data; a binary tag (a picture, a binary item) has Data and, by convention, an empty
// Value. Copies are deep.
struct IDTag {
    clString Name;   // as it came; never changed in case
    clString Value;  // several values of one name are joined by U+000D
    clBuffer Data;
    StoredBytes Stored;  // in place of Data, for who asked an engine to leave large values where they are
};

// The beginning of the name of a picture; the image file's bytes are in its Data.
inline constexpr std::u16string_view kArtPrefix = u"_albumart_";
// Separates a picture's type from its description inside the name.
inline constexpr std::u16string_view kSubDescription = u"<subdesc>";
// A transient entry with which an engine tells what tag it has read.
inline constexpr const char16_t* kTagVersionName = u"TagVersion";

// Names are matched with ASCII case ignored. The order of insertion is kept through every operation; several
// entries may have the same name. One thread at a time.
class IDTags {
  public:
    IDTags() noexcept = default;
    IDTags(const IDTags&) = delete;
    IDTags& operator=(const IDTags&) = delete;
    ~IDTags() { Clear(); }

    int count() const noexcept { return entries_.count(); }
    IDTag& operator[](int index) noexcept { return *entries_[index]; }
    IDTag* const* begin() const noexcept { return entries_.begin(); }
    IDTag* const* end() const noexcept { return entries_.end(); }

    // The entry touched last, or null when that one was removed. Not an owner.
    IDTag* Current = nullptr;

    // References to entries live until the entry is removed.
    IDTag& Add();
    IDTag& AddText(std::u16string_view name, std::u16string_view value);
    IDTag& AddCopy(const IDTag& tag);
    IDTag& AddBinary(std::u16string_view name, std::span<const std::byte> bytes);
    IDTag& AddStored(std::u16string_view name, const StoredBytes& bytes);

    // Takes those entries of `other` over, at the end and in their order, for which `wanted(entry)` is true;
    // the rest is deleted. References to what was taken stay good.
    template <typename Predicate>
    void TakeIf(IDTags& other, Predicate wanted) {
        for (int i = 0; i < other.count(); ++i) {
            if (!wanted(*other.entries_[i])) continue;
            entries_.Add(other.entries_[i]);
            Current = other.entries_.Release(i);
        }
        other.Clear();
    }

    // The first entry whose normalised name equals the normalised `name`, or null.
    IDTag* Find(std::u16string_view name, bool strip) noexcept;

    // Removes every entry of that very name; true when there was one.
    bool Remove(std::u16string_view name) noexcept;
    void RemoveAt(int index) noexcept;
    void Clear() noexcept;

    // The first picture whose key begins with "_albumart_1", which a key numbered 10 to 19 does too, and its
    // type name and description; null and two empty texts when there is none.
    IDTag* FindFirstArt(clString& typeName, clString& description);

    // Removes each picture of that type name, ASCII case ignored, or that very description, so with an empty
    // description all pictures without one. True when there was one: then all hidden names are gone but those
    // that RemoveHidden spares, and the pictures that stay stand at the end, numbered anew from 1.
    bool RemoveArt(std::u16string_view typeName, std::u16string_view description);

    // Removes the entries whose names begin with "_", pictures included, but for "_riff_...", "_cdtoc" and
    // "_crc".
    void RemoveHidden() noexcept;

    // Takes the first "TagVersion" entry out and gives its value; empty when there is none.
    clString TakeVersion();

    // Writes the tag blob; what was left in the file `source`, which is still open, is read into its place in
    // it. False, with an empty buffer, when it would pass 4 GiB, memory is exhausted or the file can't be
    // read.
    bool Serialise(clBuffer& buffer, clFile* source = nullptr) const noexcept;

    // Replaces the collection by what a tag blob holds, up to the first thing in it that doesn't fit.
    void Parse(const void* bytes, std::int32_t size);

  private:
    // Deletes every entry for whose name `goes(name)` is true; true when there was one.
    template <typename Predicate>
    bool RemoveNames(Predicate goes) noexcept {
        const int before = count();
        entries_.RemoveIf([&](IDTag* tag) {
            if (!goes(tag->Name)) return false;
            if (Current == tag) Current = nullptr;
            delete tag;
            return true;
        });
        return count() < before;
    }

    clPtrList<IDTag> entries_;
};

// The name, for a picture with `strip` without its description.
std::u16string_view NormalisedTagName(std::u16string_view name, bool strip) noexcept;
