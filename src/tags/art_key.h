// How pictures are named in a tag collection: "_albumart_", a number from 1, "_" and the picture's type, and
// after "<subdesc>" its description.
#pragma once

#include <string_view>

#include "support/clstring.h"

// The number that ID3v2 gives to the front cover, and that stands for every unknown type.
inline constexpr int kFrontCover = 3;
inline constexpr int kBackCover = 4;

// "_" and the name of an ID3v2 picture type; empty unless `number` is 1 to 20.
std::u16string_view PictureTypeKeyPart(int number) noexcept;

// The number of a type name, ASCII case ignored; kFrontCover for any other text.
int PictureTypeFromName(std::u16string_view name) noexcept;

// Takes a key apart that begins with "_albumart_" (not looked at here). Both texts are empty when no "_"
// follows the number. The number isn't read.
void SplitArtKey(std::u16string_view key, clString& typeName, clString& description);

// Puts a key together. `keyPart` is as from PictureTypeKeyPart, "_" included.
clString MakeArtKey(int number, std::u16string_view keyPart, std::u16string_view description = {});
