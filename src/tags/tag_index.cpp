#include "tags/tag_index.h"

#include <algorithm>

namespace {

std::u16string Folded(std::u16string_view name, bool strip) {
    std::u16string folded(NormalisedTagName(name, strip));
    for (char16_t& unit : folded) {
        if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit + (u'a' - u'A'));
    }
    return folded;
}

}  // namespace

TagIndex::TagIndex(const IDTags& tags, bool strip) : strip_(strip) {
    for (IDTag* tag : tags) Add(*tag);
}

IDTag* TagIndex::Find(std::u16string_view name) const {
    if (entries_.empty()) {
        const std::u16string_view wanted = NormalisedTagName(name, strip_);
        const auto found = std::ranges::find_if(Few(), [&](const IDTag* tag) {
            return clString::EqualsNoCase(NormalisedTagName(tag->Name, strip_), wanted);
        });
        return found != Few().end() ? *found : nullptr;
    }
    const auto found = entries_.find(Folded(name, strip_));
    return found != entries_.end() ? found->second : nullptr;
}

bool TagIndex::HasPrefix(std::u16string_view prefix) const {
    if (entries_.empty()) {
        const std::u16string_view wanted = NormalisedTagName(prefix, strip_);
        return std::ranges::any_of(Few(), [&](const IDTag* tag) {
            return clString::BeginsWithNoCase(NormalisedTagName(tag->Name, strip_), wanted);
        });
    }
    const std::u16string folded = Folded(prefix, strip_);
    const auto first = entries_.lower_bound(folded);
    return first != entries_.end() && first->first.starts_with(folded);
}

bool TagIndex::TryAdd(IDTag& tag) {
    if (entries_.empty()) {
        if (Find(tag.Name) != nullptr) return false;
        if (fewCount_ < kFew) {
            few_[fewCount_++] = &tag;
            return true;
        }
        for (IDTag* few : few_) entries_.try_emplace(Folded(few->Name, strip_), few);
    }
    return entries_.try_emplace(Folded(tag.Name, strip_), &tag).second;
}
