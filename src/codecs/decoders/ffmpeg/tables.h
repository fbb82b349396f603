// What the plug-in says it can do: the tables behind Get, and the tag family of a path.
#pragma once

#include <cstdint>
#include <string_view>

struct DecodedExtension {
    const char16_t* extension;  // with its dot
    const char16_t* description;
};

// Rows of the tables, or null behind the last one. The texts live as long as the library is loaded.
const DecodedExtension* DecodesRow(std::uint32_t index) noexcept;
const char16_t* StreamingDecodesRow(std::uint32_t index) noexcept;

inline constexpr const char16_t* kDecoderDescription = u"FFmpeg Decoder";

// Which engine a file's tags belong to. The numbers between are reserved for other orders of the standard
// tags; no extension maps to them.
enum class TagFamily : int { None = 0, Standard = 1, Matroska = 4 };

// By the extension, ASCII case ignored.
TagFamily TagFamilyOf(std::u16string_view path);
