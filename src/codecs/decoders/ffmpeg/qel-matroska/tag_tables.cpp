#include "codecs/decoders/ffmpeg/qel-matroska/tag_tables.h"

#include <algorithm>

#include "support/clstring.h"

namespace Matroska {

namespace {

template <typename Unit>
Unit Upper(Unit unit) noexcept {
    return unit >= 'a' && unit <= 'z' ? static_cast<Unit>(unit - 'a' + 'A') : unit;
}

}  // namespace

std::string UpperCase(std::string_view text) {
    std::string upper(text);
    std::transform(upper.begin(), upper.end(), upper.begin(), Upper<char>);
    return upper;
}

bool EqualsNoCase(std::u16string_view text, std::string_view word) noexcept {
    return std::equal(text.begin(), text.end(), word.begin(), word.end(), [](char16_t unit, char letter) {
        return Upper(unit) == static_cast<char16_t>(Upper(letter));
    });
}

std::string ToUtf8(std::u16string_view text) {
    return clString(text).Utf8();
}

}  // namespace Matroska
