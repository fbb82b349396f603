#include "tags/multi_values.h"

#include <algorithm>
#include <array>

#include "support/clstring.h"

namespace {

constexpr std::array<std::u16string_view, 5> kMultiValueNames{u"artist", u"genre", u"composer", u"style",
                                                              u"Album Artist"};

}  // namespace

bool IsMultiValueName(std::u16string_view name) noexcept {
    return std::any_of(kMultiValueNames.begin(), kMultiValueNames.end(),
                       [name](std::u16string_view row) { return clString::EqualsNoCase(row, name); });
}
