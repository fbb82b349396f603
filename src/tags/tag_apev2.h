// The APE tag, version 1000 or 2000, at the end of a file, in front of an ID3v1 tag when there is one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "tags/base_tag.h"
#include "tags/id3v1_tail.h"

class TagAPEv2 final : public BaseTag {
  public:
    explicit TagAPEv2(const clFile& opened) noexcept : BaseTag(opened) {}

    // "APEWriteAPE1Tag": new tags are of version 1000.
    void SetOption(std::u16string_view option) noexcept override;
    clString TagName() const override;

    // A file shorter than 131 bytes has no tag.
    bool Read(IDTags& tags, bool wantVersion) noexcept override;
    bool Exists() noexcept override;

    // Cuts the file where the old tag began and writes the new one there, the ID3v1 tag behind it again. A
    // tag that can't be read stays, and the new one goes after it. Without anything to write the tag is gone.
    // After a failed write the file stays cut.
    bool Write(const IDTags& tags, bool merge) noexcept override;
    void Delete() noexcept override;
    void DeleteTag(std::u16string_view name) noexcept override;

    // Read; with `keepRaw` a rating keeps the file's scale and a name another application's prefix.
    bool ReadRaw(IDTags& tags, bool wantVersion, bool keepRaw) noexcept;

  private:
    enum class Footer { Unreadable, Absent, Present };
    struct FooterFields;

    // May run out of memory.
    bool ReadTag(IDTags& tags, bool wantVersion, bool keepRaw);
    bool ReadItems(const FooterFields& footer, IDTags& tags);
    bool WriteTag(const IDTags& tags, bool merge);
    void DeleteName(std::u16string_view name);

    Footer ReadFooter(std::int64_t end, FooterFields& fields) noexcept;
    bool AppendTag(const IDTags& tags);
    void AppendSavedId3v1() noexcept;

    // Gives `name` the prefix when `existing` has a name that begins with the prefixed one.
    static void AdjustJukeBoxName(clString& name, const IDTags& existing);

    std::uint32_t TagVersionNumber = 0;  // 0 while no tag was found
    // Where the tag begins, its header included, or where one would go; -1 while the size isn't known.
    std::int64_t TagStart = -1;
    bool WriteVersion1 = false;
    std::array<std::byte, kId3v1Bytes> SavedID3v1{};  // a first byte of 0: there was none
};
