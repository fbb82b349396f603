#include "tags/tag_index.h"

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
    const auto found = entries_.find(Folded(name, strip_));
    return found != entries_.end() ? found->second : nullptr;
}

bool TagIndex::HasPrefix(std::u16string_view prefix) const {
    const std::u16string folded = Folded(prefix, strip_);
    const auto first = entries_.lower_bound(folded);
    return first != entries_.end() && first->first.starts_with(folded);
}

bool TagIndex::TryAdd(IDTag& tag) {
    return entries_.try_emplace(Folded(tag.Name, strip_), &tag).second;
}
