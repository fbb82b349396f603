// Entries by name, for collections as long as a file likes.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "tags/idtags.h"

// Finds what IDTags::Find finds, without a walk through a million entries for each of a million names. It is
// ordered, since a file that chooses the names can choose them so that their hashes collide. As few entries
// as most files have are faster to walk than to put in order.
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
    static constexpr std::size_t kFew = 24;

    std::span<IDTag* const> Few() const noexcept { return std::span(few_).first(fewCount_); }

    bool strip_;
    std::array<IDTag*, kFew> few_;
    std::size_t fewCount_ = 0;
    std::map<std::u16string, IDTag*, std::less<>> entries_;  // all of them once they aren't few; empty before
};
