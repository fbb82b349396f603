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
    bool Exists() noexcept override;

    // Writes what the format holds of the tags, cut at each field's bytes. Without anything to write the tag
    // is gone. A tag whose fields are all empty isn't replaced: the new one goes behind it. Whether the new
    // tag reached the file isn't told.
    bool Write(const IDTags& tags, bool merge) noexcept override;
    void Delete() noexcept override;
    void DeleteTag(std::u16string_view name) noexcept override;

  private:
    // May run out of memory.
    bool ReadTag(IDTags& tags, bool wantVersion);
    bool WriteTag(const IDTags& tags, bool merge);

    bool CutTag() noexcept;

    bool WriteVersion10 = false;
};
