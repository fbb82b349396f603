// The ID3v2 tag at the start of a file.
#pragma once

#include <cstdint>

#include "tags/base_tag.h"
#include "tags/id3v2/parser.h"
#include "tags/id3v2/values.h"

// The binary entry that holds the table of contents of a compact disc.
inline constexpr std::u16string_view kTableOfContentsName = u"_cdtoc";

class TagID3v2 final : public BaseTag {
  public:
    explicit TagID3v2(const clFile& opened) noexcept : BaseTag(opened) {}

    // "ID3v2EncodeUni", "ID3v2EncodeUTF8": text of new frames in UTF-16, in UTF-8 where the version allows
    // it. "ID3v2WriteV24": a new tag is version 2.4 and not 2.3; "ID3v2WriteV22" and "ID3v2WriteV221" leave
    // it at 2.3, the oldest version that is written. "WriteFullDateInYearTag": below version 2.4 the year
    // frame holds the whole date. "WriteStrictYearDate": a date goes into year and date frames, or nowhere.
    // "TPE2Orchestra", "TIT1Style": these frames are named "Orchestra" and "Style".
    void SetOption(std::u16string_view option) noexcept override;
    clString TagName() const override;

    // True, with an empty collection, for a file without a tag and for one with a damaged tag. The version
    // entry, which stands first, is the one with which the tag could be read.
    bool Read(IDTags& tags, bool wantVersion) noexcept override;
    Presence Look() noexcept override;

    // The names in `tags` replace those of the file, whose other frames stay; an empty value removes a name.
    // With `deleteOnly` the names are removed whatever their values. A tag that can't be parsed is replaced;
    // one that ends up without frames is taken out. False when the tag can't be rendered; the file is
    // untouched then. Failures of the file itself aren't told.
    bool Write(const IDTags& tags, bool deleteOnly) noexcept override;
    bool Delete() noexcept override;
    bool DeleteTag(std::u16string_view name) noexcept override;

    // The bytes that the tag takes with its header and footer; 0 without a usable one, and with `failed` set
    // when the file can't be read.
    std::uint64_t tagSizeOnDisk(bool* failed = nullptr) noexcept;

    // To be set before use. Padding keeps the tag's old size when the new one leaves no more room than this;
    // the tag's size is a multiple of `alignment`, 1 or 2.
    std::uint64_t tagOffset = 0;
    std::uint32_t maxPadding = 0;
    std::uint32_t alignment = 1;

  private:
    enum Encoding : std::uint32_t { SingleByte = 0, Utf16 = 1, Utf8 = 2 };
    enum Version : std::uint32_t { Version22 = 0, Version221 = 1, Version23 = 2, Version24 = 3 };

    // These may run out of memory.
    void ReadTag(IDTags& tags, bool wantVersion);
    bool WriteTag(const IDTags& tags, bool deleteOnly);
    void NameFrame(std::u16string_view frame, std::u16string_view name);
    id3parser::id3tag EmptyTag() const;
    void MergeEntries(const IDTags& tags, bool deleteOnly, id3parser::TagValues& values) const;
    void MergeEntry(const IDTag& entry, bool deleteOnly, id3parser::TagValues& values) const;
    std::uint8_t TextEncoding() const noexcept;

    bool PassesEndOfFile() noexcept;
    std::uint64_t RoomOnDisk() noexcept;
    static bool readTagFrom(id3parser::id3tag& tag, clFile& source, std::uint64_t position) noexcept;

    std::uint32_t encodingChoice = SingleByte;
    std::uint32_t versionChoice = Version23;
    bool fullDateInYear = false;
    bool strictYearDate = false;
    IDTags frameNames;  // from a frame's identifier to the name that it gets
};
