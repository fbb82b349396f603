// The ID3v1 tag in the last 128 bytes of a file.
#pragma once

#include "tags/base_tag.h"

class TagID3v1 final : public BaseTag {
  public:
    explicit TagID3v1(const clFile& opened) noexcept : BaseTag(opened) {}

    // "ID3v1Write10": no track number is written, and the comment may fill its whole field.
    void SetOption(std::u16string_view option) noexcept override;
    clString TagName() const override;

    // False for a file shorter than 131 bytes: what stands in front of a tag belongs to the test for it.
    bool Read(IDTags& tags, bool wantVersion) noexcept override;
    Presence Look() noexcept override;

    // Writes what the format holds of the tags, cut at each field's bytes. Without anything to write the tag
    // is gone. A tag whose fields are all empty isn't replaced, unless it stands behind an APE tag: the new
    // one goes behind it. When it is false the file is as it was.
    bool Write(const IDTags& tags, bool merge) noexcept override;
    bool Delete() noexcept override;
    bool DeleteTag(std::u16string_view name) noexcept override;

  private:
    // May run out of memory.
    TailState ReadTag(IDTags& tags, bool wantVersion);
    bool WriteTag(const IDTags& tags, bool merge);

    bool WriteVersion10 = false;
};
