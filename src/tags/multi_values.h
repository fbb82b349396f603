// Several values of one name in the formats that hold one text per field.
#pragma once

#include <string_view>

// Stands between the values inside IDTag::Value.
inline constexpr char16_t kValueSeparator = u'\r';

// Whether APE and ID3v1 tags split the field of that name into values, ASCII case ignored.
bool IsMultiValueName(std::u16string_view name) noexcept;
