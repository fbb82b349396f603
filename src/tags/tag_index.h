// Entries by name, for collections as long as a file likes.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "tags/idtags.h"

// Finds what IDTags::Find finds, without a walk through a million entries for each of a million names. It is
// ordered, since a file that chooses the names can choose them so that their hashes collide.
class TagIndex {
  public:
    // Indexes the entries that are there; `strip` as with IDTags::Find.
    TagIndex(const IDTags& tags, bool strip);

    // The first entry of that name, or null.
    IDTag* Find(std::u16string_view name) const;

    // Whether a name begins with `prefix`.
    bool HasPrefix(std::u16string_view prefix) const;

    // An entry that came behind all others. It keeps its name while the index is in use.
    void Add(IDTag& tag) { TryAdd(tag); }
    // The same; false when there is one of its name already.
    bool TryAdd(IDTag& tag);

  private:
    bool strip_;
    std::map<std::u16string, IDTag*, std::less<>> entries_;
};
