// The ID3v2 tag at the start of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

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

    // As TagAPEv2's: no picture and no table of contents whose frame would be too large to be read again.
    bool Takes(const IDTags& tags) noexcept;

    // The names in `tags` replace those of the file, whose other frames stay; an empty value removes a name.
    // With `deleteOnly` the names are removed whatever their values, and a tag that holds none of them stays
    // as it is, also when it can't be parsed. A tag that can't be parsed is else replaced; one that ends up
    // without frames is taken out. False when the tag passes the end of the file, can't be rendered or would
    // have frames that nobody could read back, all before the file was touched, and when the file fails; what
    // was changed until then is put back as far as the disk allows.
    bool Write(const IDTags& tags, bool deleteOnly) noexcept override;
    bool Delete() noexcept override;
    bool DeleteTag(std::u16string_view name) noexcept override;

    // The bytes that the tag takes with its header and footer; 0 without a usable one. A footer counts when
    // it stands where a tag of version 2.4 announces it.
    std::uint64_t tagSizeOnDisk() noexcept;

    // To be set before use. Padding keeps the tag's old size when the new one leaves no more room than this;
    // the tag's size is a multiple of `alignment`, 1 or 2.
    std::uint64_t tagOffset = 0;
    std::uint32_t maxPadding = 0;
    std::uint32_t alignment = 1;

  private:
    enum Encoding : std::uint32_t { SingleByte = 0, Utf16 = 1, Utf8 = 2 };
    enum Version : std::uint32_t { Version22 = 0, Version221 = 1, Version23 = 2, Version24 = 3 };

    // What stands where the tag goes.
    struct OldTag {
        std::uint64_t room = 0;  // by the tag's own word
        bool passesEnd = false;  // of the file: such a tag is damaged, on its word the whole file would be it
        id3parser::FrameBytes bytes;
    };

    // These may run out of memory.
    void ReadTag(IDTags& tags, bool wantVersion);
    bool WriteTag(const IDTags& tags, bool deleteOnly);
    void NameFrame(std::u16string_view frame, std::u16string_view name);
    id3parser::id3tag EmptyTag() const;
    void MergeEntries(const IDTags& tags, bool deleteOnly, id3parser::TagValues& values) const;
    void MergeEntry(const IDTag& entry, bool deleteOnly, id3parser::TagValues& values) const;
    std::uint8_t TextEncoding() const noexcept;

    bool ReadAt(std::uint64_t position, std::span<std::byte> bytes) noexcept;
    bool ReadOldTag(OldTag& old);
    bool Replace(std::span<const std::byte> old, std::span<const std::byte> fresh) noexcept;
    bool PutTag(std::span<const std::byte> bytes) noexcept;
    static bool readTagFrom(id3parser::id3tag& tag, clFile& source, std::uint64_t position) noexcept;

    bool unreadable = false;  // a read of the file failed; nothing is written on what isn't known
    std::uint32_t encodingChoice = SingleByte;
    std::uint32_t versionChoice = Version23;
    bool fullDateInYear = false;
    bool strictYearDate = false;
    IDTags frameNames;  // from a frame's identifier to the name that it gets
};
