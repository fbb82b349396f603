// The identifiers of three letters, of version 2.2, and what they are called since.
#pragma once

#include <cstdint>
#include <string_view>

namespace id3parser {

// The identifier of four letters, or 0 when the table has none.
std::uint32_t mapShortFrameId(std::string_view letters) noexcept;

}  // namespace id3parser
