// Bytes as text.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// The alphabet with + and /, padded (RFC 4648).
std::string Base64(std::span<const std::byte> bytes);
std::optional<std::vector<std::byte>> FromBase64(std::string_view text);

}  // namespace host
