// What all tag engines have in common: one kind of tag in one open file.
#pragma once

#include <string_view>

#include "support/clfile.h"
#include "support/clstring.h"
#include "tags/id3v1_tail.h"
#include "tags/idtags.h"
#include "tags/presence.h"

// An engine lives for one operation on a file, in one thread. Several share the handle of a clFile that must
// stay open meanwhile, so they work one after the other.
// Failures show in the results alone: nothing is logged and nothing is raised, exhausted memory included.
class BaseTag {
  public:
    BaseTag(const BaseTag&) = delete;
    BaseTag& operator=(const BaseTag&) = delete;
    virtual ~BaseTag() = default;

    // Turns on a behaviour by its exact name; unknown names are ignored. Nothing turns it off again.
    virtual void SetOption(std::u16string_view option) noexcept = 0;

    virtual clString TagName() const = 0;

    // Replaces the collection by what the file holds; a file without such a tag gives an empty one and true.
    // False when the file can't be read or the tag is damaged; what was read until then stays in `tags`.
    // `wantVersion` adds a "TagVersion" entry: to those of an APE or ID3v1 tag as the last, when there are
    // any; to those of an ID3v2 tag as the first, even when it holds nothing that is shown.
    virtual bool Read(IDTags& tags, bool wantVersion) noexcept = 0;

    // To be set before Read: large binary values that stand in the file as they are stay there, and are told
    // of as IDTag::Stored. That they can be read isn't known then.
    bool leavesLargeValues = false;

    // To be set before Read, by who reads with several engines: the end of the file, as it was read for all
    // of them. It outlives the engine, which must not write: it wouldn't see the new end.
    const Id3v1Tail* knownTail = nullptr;

    // Whether the file has such a tag, whatever is in it.
    virtual Presence Look() noexcept = 0;
    bool Exists() noexcept { return Look() == Presence::Present; }

    // Brings the tags into the file: with `merge` they replace or join what it holds, without it they are the
    // whole new tag. An engine may give the flag another sense and says so.
    virtual bool Write(const IDTags& tags, bool merge) noexcept = 0;

    // Removes the whole tag. False when the file or memory fails.
    virtual bool Delete() noexcept = 0;

    // Removes the entries of that name, a name as Read gives it, and rewrites the tag when there were any;
    // without any the file isn't touched. False as with Delete.
    virtual bool DeleteTag(std::u16string_view name) noexcept = 0;

  protected:
    // Works on the handle of `opened`, which keeps owning it.
    explicit BaseTag(const clFile& opened) noexcept : file(opened.handle) {}

    Id3v1Tail FileTail() noexcept { return knownTail != nullptr ? *knownTail : ReadId3v1Tail(file); }

    clFile file;
};
