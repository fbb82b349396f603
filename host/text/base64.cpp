#include "host/text/base64.h"

#include <algorithm>
#include <cstdint>

namespace host {

namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string Base64(std::span<const std::byte> bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t index = 0; index < bytes.size(); index += 3) {
        const std::span<const std::byte> group =
            bytes.subspan(index, std::min<std::size_t>(3, bytes.size() - index));
        std::uint32_t bits = 0;
        for (std::size_t place = 0; place < 3; ++place) {
            bits = bits << 8 | (place < group.size() ? std::to_integer<std::uint32_t>(group[place]) : 0);
        }
        for (std::size_t place = 0; place < 4; ++place) {
            text += place <= group.size() ? kAlphabet[bits >> (18 - 6 * place) & 63] : '=';
        }
    }
    return text;
}

std::optional<std::vector<std::byte>> FromBase64(std::string_view text) {
    if (text.size() % 4 != 0) return std::nullopt;
    const std::size_t padding = text.empty() ? 0 : text.size() - 1 - text.find_last_not_of('=');
    if (padding > 2) return std::nullopt;
    std::vector<std::byte> bytes;
    std::uint32_t bits = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const std::size_t digit = kAlphabet.find(text[index]);
        const bool isPadding = index >= text.size() - padding;
        if (digit == std::string_view::npos && !isPadding) return std::nullopt;
        bits = bits << 6 | (isPadding ? 0 : static_cast<std::uint32_t>(digit));
        if (index % 4 != 3) continue;
        for (int shift = 16; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::byte>(bits >> shift));
        bits = 0;
    }
    bytes.resize(bytes.size() - padding);
    return bytes;
}

}  // namespace host
