// The APE tag, version 1000 or 2000, at the end of a file, in front of an ID3v1 tag when there is one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "tags/apev2_layout.h"
#include "tags/base_tag.h"
#include "tags/id3v1_tail.h"

class TagIndex;

class TagAPEv2 final : public BaseTag {
  public:
    explicit TagAPEv2(const clFile& opened) noexcept : BaseTag(opened) {}

    // "APEWriteAPE1Tag": new tags are of version 1000.
    void SetOption(std::u16string_view option) noexcept override;
    clString TagName() const override;

    // A file shorter than 131 bytes has no tag.
    bool Read(IDTags& tags, bool wantVersion) noexcept override;
    Presence Look() noexcept override;

    // Whether `Read` would give back the values of `tags` once they are written: none of more than 16 MiB. To
    // be asked before another engine changes the file; `Write` looks for itself, too.
    bool Takes(const IDTags& tags) noexcept;

    // Writes the new tag where the old one began, the ID3v1 tag behind it again. A damaged tag stays, and the
    // new one goes after it. Without anything to write the tag is gone. False when the file can't be read or
    // written, memory is exhausted or a value isn't one that `Takes` lets pass; the old tags are there then.
    bool Write(const IDTags& tags, bool merge) noexcept override;
    bool Delete() noexcept override;
    bool DeleteTag(std::u16string_view name) noexcept override;

    // Read; with `keepRaw` a rating keeps the file's scale and a name another application's prefix.
    bool ReadRaw(IDTags& tags, bool wantVersion, bool keepRaw) noexcept;

  private:
    // Whole: what the file holds was read, also when that is no tag. Damaged: the tag's size can't be true.
    enum class Outcome { Whole, Damaged, Unreadable };

    struct Wanted {
        bool version;       // an entry for it
        bool raw;           // as ReadRaw
        bool storedValues;  // as leavesLargeValues
    };
    // What is written again: large values go from the file straight to their place in the new tag.
    static constexpr Wanted kForWriting{.version = false, .raw = true, .storedValues = true};

    // May run out of memory.
    Outcome ReadTag(IDTags& tags, const Wanted& wanted);
    bool ReadItems(const apev2::Record& footer, bool storedValues, IDTags& tags);
    bool WriteTag(const IDTags& tags, bool merge);
    bool DeleteName(std::u16string_view name);
    bool TakesAll(const IDTags& tags);

    Presence FindFooter(apev2::Record& footer) noexcept;
    // The footer at the end of the file, or in front of the ID3v1 tag there.
    Presence FindFooterAtEnd(const Id3v1Tail& tail, apev2::Record& footer) noexcept;
    bool ReplaceBy(std::span<const std::byte> bytes, std::size_t lasting) noexcept;
    std::span<const std::byte> BehindTag() const noexcept;  // the saved ID3v1 tag, when there is one
    std::uint32_t NewVersion() const noexcept;

    // Gives `name` the prefix when `existing` has a name that begins with the prefixed one.
    static void AdjustJukeBoxName(clString& name, const TagIndex& existing);

    std::uint32_t TagVersionNumber = 0;  // 0 while no tag was found
    // Where the tag begins, its header included, or where one would go; -1 while the size isn't known.
    std::int64_t TagStart = -1;
    bool WriteVersion1 = false;
    std::array<std::byte, kId3v1Bytes> SavedID3v1{};  // a first byte of 0: there was none
};
