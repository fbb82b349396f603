#include "tags/std_tags.h"

#include <utility>

#include "support/clfile.h"
#include "support/cllists.h"
#include "tags/id3v2/tag_id3v2.h"
#include "tags/tag_apev2.h"
#include "tags/tag_id3v1.h"
#include "tags/tag_index.h"

namespace {

constexpr const char* kReadLabel = "ReadStdTags";
constexpr const char* kWriteLabel = "WriteStdTags";
constexpr const char* kDeleteLabel = "DeleteStdTags";
constexpr const char16_t* kNotOpenedForReading = u"Couldn't read tags from file: %s";
constexpr const char16_t* kNotOpenedForUpdating = u"Couldn't open file for updating: %s";
constexpr const char16_t* kId3v2NotWritten = u"Could not write ID3v2 tag";
constexpr std::u16string_view kVersionSeparator = u" & ";

bool OpenOrLog(clFile& file, std::uint32_t access, const char16_t* failure, const clLogHandles& decoder,
               const char* label) {
    if (file.Open(access)) return true;
    const clString reason = clFile::OpenErrorText(file.path.text());
    clLog::Error(clString::Format(failure, reason.text()).text(), decoder, label);
    return false;
}

// Merges what one engine after the other reads; the first entry of a name wins.
class Merger {
  public:
    Merger(IDTags& tags, clString& version) : tags_(tags), version_(version), index_(tags, false) {}

    bool Read(BaseTag& engine) {
        IDTags own;
        if (!engine.Read(own, true)) return false;
        const clString kind = own.TakeVersion();
        if (!version_.IsEmpty() && !kind.IsEmpty()) version_.Append(kVersionSeparator);
        version_.Append(kind);
        for (IDTag* tag : own) {
            if (index_.Find(tag->Name) != nullptr) continue;
            IDTag& merged = tags_.Add();
            merged = std::move(*tag);
            index_.Add(merged);
        }
        return true;
    }

  private:
    IDTags& tags_;
    clString& version_;
    TagIndex index_;
};

bool WriteOrLog(BaseTag& engine, const IDTags& tags, bool merge, const char16_t* failure,
                const clLogHandles& decoder) {
    if (engine.Write(tags, merge)) return true;
    clLog::Error(failure, decoder, kWriteLabel);
    return false;
}

// The whole tag without names.
void DeleteFrom(BaseTag& engine, const clStringList& names) {
    if (!engine.Exists()) return;
    if (names.count() == 0) engine.Delete();
    for (int i = 0; i < names.count(); ++i) engine.DeleteTag(names[i]);
}

}  // namespace

bool ReadStdTags(const clString& path, IDTags& tags, clString& version, const clLogHandles& decoder) {
    tags.Clear();
    version.Set(u"");
    clFile file(path);
    if (!OpenOrLog(file, clFile::kRead, kNotOpenedForReading, decoder, kReadLabel)) return false;
    TagAPEv2 ape(file);
    TagID3v2 id3v2(file);
    TagID3v1 id3v1(file);
    Merger merger(tags, version);
    if (merger.Read(ape) && merger.Read(id3v2) && merger.Read(id3v1)) return true;
    clLog::Error(u"Reading tags failed.", decoder, kReadLabel);
    return false;
}

bool WriteStdTags(const clString& path, const IDTags& tags, StdTagFamily family,
                  const clLogHandles& decoder) {
    clFile file(path);
    if (!OpenOrLog(file, clFile::kRead | clFile::kWrite, kNotOpenedForUpdating, decoder, kWriteLabel)) {
        return false;
    }
    TagID3v1 id3v1(file);
    if (id3v1.Exists() && !WriteOrLog(id3v1, tags, true, u"Could not write ID3 tag", decoder)) return false;
    TagID3v2 id3v2(file);
    const bool hasId3v2 = id3v2.Exists();
    if (hasId3v2 && !WriteOrLog(id3v2, tags, false, kId3v2NotWritten, decoder)) return false;
    TagAPEv2 ape(file);
    if (ape.Exists() || (!hasId3v2 && family == StdTagFamily::Ape)) {
        return WriteOrLog(ape, tags, true, u"Could not write APE tag", decoder);
    }
    if (hasId3v2 || family != StdTagFamily::Id3v2) return true;
    return WriteOrLog(id3v2, tags, false, kId3v2NotWritten, decoder);
}

bool DeleteStdTags(const clString& path, const char16_t* names, const clLogHandles& decoder) {
    clFile file(path);
    if (!OpenOrLog(file, clFile::kRead | clFile::kWrite, kNotOpenedForUpdating, decoder, kDeleteLabel)) {
        return false;
    }
    clStringList list;
    list.FromMultiString(names);
    TagID3v1 id3v1(file);
    TagID3v2 id3v2(file);
    TagAPEv2 ape(file);
    DeleteFrom(id3v1, list);
    DeleteFrom(id3v2, list);
    DeleteFrom(ape, list);
    return true;
}
