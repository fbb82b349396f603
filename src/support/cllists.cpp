#include "support/cllists.h"

#include <utility>

namespace {
constexpr std::size_t kLargestMultiString = 2000000000;  // bytes
constexpr std::u16string_view kEmptyEntry = u"[Empty]";
}  // namespace

clString& clStringList::Own(std::unique_ptr<clString> string) {
    list_.Add(string.get());
    return *string.release();
}

clString& clStringList::AddCopy(std::u16string_view source, std::int64_t tag) {
    auto copy = std::make_unique<clString>(source);
    copy->tag = tag;
    return Own(std::move(copy));
}

clString& clStringList::AddMove(clString&& string) {
    return Own(std::make_unique<clString>(std::move(string)));
}

void clStringList::Clear() noexcept {
    for (clString* string : list_) delete string;
    list_.Clear();
}

void clStringList::AppendCopies(const clStringList& other) {
    const int count = other.count();
    for (int i = 0; i < count; ++i) Own(std::make_unique<clString>(other[i]));
}

void clStringList::TakeAll(clStringList& other) {
    if (this == &other) return;
    AppendCopies(other);
    other.Clear();
}

void clStringList::FromMultiString(const char16_t* block) {
    Clear();
    std::size_t read = 0;
    while (block != nullptr && *block != 0 && read < kLargestMultiString) {
        const std::u16string_view entry(block);
        AddCopy(entry == kEmptyEntry ? std::u16string_view() : entry);
        block += entry.size() + 1;
        read += (entry.size() + 1) * sizeof(char16_t);
    }
}

void clStringList::Split(std::u16string_view text) {
    Clear();
    if (text.empty()) return;
    std::size_t start = 0;
    for (std::size_t end = text.find(u'\r'); end != std::u16string_view::npos;
         end = text.find(u'\r', start)) {
        AddCopy(text.substr(start, end - start));
        start = end + 1;
    }
    AddCopy(text.substr(start));
}
