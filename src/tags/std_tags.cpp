#include "tags/std_tags.h"

#include <new>
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
constexpr const char16_t* kId3v1NotWritten = u"Could not write ID3 tag";
constexpr const char16_t* kId3v2NotWritten = u"Could not write ID3v2 tag";
constexpr const char16_t* kApeNotWritten = u"Could not write APE tag";
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
        tags_.TakeIf(own, [this](IDTag& tag) { return index_.TryAdd(tag); });
        return true;
    }

  private:
    IDTags& tags_;
    clString& version_;
    TagIndex index_;
};

// The whole tag without names.
bool DeleteFrom(BaseTag& engine, const clStringList& names) {
    const Presence there = engine.Look();
    if (there != Presence::Present) return there == Presence::Absent;
    if (names.count() == 0) return engine.Delete();
    bool deleted = true;
    for (int i = 0; i < names.count(); ++i) {
        if (!engine.DeleteTag(names[i])) deleted = false;
    }
    return deleted;
}

bool DeleteOrLog(BaseTag& engine, const clStringList& names, const char16_t* failure,
                 const clLogHandles& decoder) {
    if (DeleteFrom(engine, names)) return true;
    clLog::Error(failure, decoder, kDeleteLabel);
    return false;
}

bool ReadFrom(clFile& file, bool leaveLargeValues, IDTags& tags, clString& version,
              const clLogHandles& decoder) {
    tags.Clear();
    version.Set(u"");
    if (!OpenOrLog(file, clFile::kRead, kNotOpenedForReading, decoder, kReadLabel)) return false;
    TagAPEv2 ape(file);
    TagID3v2 id3v2(file);
    TagID3v1 id3v1(file);
    ape.leavesLargeValues = id3v2.leavesLargeValues = leaveLargeValues;
    const Id3v1Tail tail = ReadId3v1Tail(file);
    ape.knownTail = id3v1.knownTail = &tail;
    Merger merger(tags, version);
    if (merger.Read(ape) && merger.Read(id3v2) && merger.Read(id3v1)) return true;
    clLog::Error(u"Reading tags failed.", decoder, kReadLabel);
    return false;
}

}  // namespace

bool ReadStdTags(const clString& path, IDTags& tags, clString& version, const clLogHandles& decoder) {
    clFile file(path);
    return ReadFrom(file, false, tags, version, decoder);
}

bool ReadStdTagBlob(const clString& path, clBuffer& blob, clString& version, const clLogHandles& decoder) {
    IDTags tags;
    clFile file(path);
    if (!ReadFrom(file, true, tags, version, decoder)) return false;
    if (tags.Serialise(blob, &file)) return true;
    // What was left in the file can't be read; what that means for its tags is told by reading them whole.
    if (!ReadStdTags(path, tags, version, decoder)) return false;
    if (!tags.Serialise(blob)) throw std::bad_alloc();
    return true;
}

bool WriteStdTags(const clString& path, const IDTags& tags, StdTagFamily family,
                  const clLogHandles& decoder) {
    clFile file(path);
    if (!OpenOrLog(file, clFile::kRead | clFile::kWrite, kNotOpenedForUpdating, decoder, kWriteLabel)) {
        return false;
    }
    TagID3v1 id3v1(file);
    TagID3v2 id3v2(file);
    TagAPEv2 ape(file);
    const auto failed = [&decoder](const char16_t* failure) {
        clLog::Error(failure, decoder, kWriteLabel);
        return false;
    };
    // What one engine refuses is found out before another one has changed the file.
    if (!id3v2.Takes(tags) && id3v2.Exists()) return failed(kId3v2NotWritten);
    const auto getsApe = [&] { return ape.Exists() || (family == StdTagFamily::Ape && !id3v2.Exists()); };
    if (!ape.Takes(tags) && getsApe()) return failed(kApeNotWritten);

    const auto isCurrent = [&tags](BaseTag& engine, Presence there, bool merge) {
        return there == Presence::Absent || (there == Presence::Present && engine.Write(tags, merge));
    };
    if (!isCurrent(id3v1, id3v1.Look(), true)) return failed(kId3v1NotWritten);
    const Presence hasId3v2 = id3v2.Look();
    if (!isCurrent(id3v2, hasId3v2, false)) return failed(kId3v2NotWritten);
    const Presence hasApe = ape.Look();
    if (!isCurrent(ape, hasApe, true)) return failed(kApeNotWritten);
    if (hasId3v2 == Presence::Present || hasApe == Presence::Present) return true;
    if (family == StdTagFamily::Ape) return ape.Write(tags, true) || failed(kApeNotWritten);
    if (family == StdTagFamily::Id3v2) return id3v2.Write(tags, false) || failed(kId3v2NotWritten);
    return true;
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
    const bool id3v1Done = DeleteOrLog(id3v1, list, u"Could not delete ID3 tag", decoder);
    const bool id3v2Done = DeleteOrLog(id3v2, list, u"Could not delete ID3v2 tag", decoder);
    const bool apeDone = DeleteOrLog(ape, list, u"Could not delete APE tag", decoder);
    return id3v1Done && id3v2Done && apeDone;
}
