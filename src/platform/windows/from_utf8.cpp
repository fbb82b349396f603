#include "platform/windows/from_utf8.h"

#include <array>
#include <bit>
#include <cstdint>

namespace platform::windows {

namespace {

constexpr int kLongestSequence = 6;

// The smallest code point that needs a sequence of as many bytes as the index says.
constexpr std::array<std::uint32_t, kLongestSequence + 1> kSmallest{0,       0,        0x80,     0x800,
                                                                    0x10000, 0x200000, 0x4000000};

// Takes one sequence off the front of `bytes`. False, with nothing taken, at the end of the text.
bool TakeCharacter(std::string_view& bytes, std::uint32_t& point) noexcept {
    if (bytes.empty()) return false;
    const auto lead = static_cast<std::uint8_t>(bytes.front());
    const int ones = std::countl_one(lead);
    const int length = ones == 0 ? 1 : ones;
    if (lead == 0 || ones == 1 || length > kLongestSequence) return false;
    if (bytes.size() < static_cast<std::size_t>(length)) return false;
    point = ones == 0 ? lead : lead & (0x7FU >> ones);
    for (int i = 1; i < length; ++i) {
        const auto next = static_cast<std::uint8_t>(bytes[static_cast<std::size_t>(i)]);
        if ((next & 0xC0U) != 0x80U) return false;
        point = (point << 6) | (next & 0x3FU);
    }
    if (point < kSmallest[static_cast<std::size_t>(length)]) return false;
    bytes.remove_prefix(static_cast<std::size_t>(length));
    return true;
}

}  // namespace

std::u16string FromUtf8(std::string_view bytes) {
    std::size_t count = 0;
    std::uint32_t point = 0;
    for (std::string_view rest = bytes; TakeCharacter(rest, point);) ++count;
    std::u16string text;
    text.reserve(count);
    while (TakeCharacter(bytes, point)) text += static_cast<char16_t>(point & 0xFFFFU);
    return text;
}

bool BecomesAscii(std::string_view bytes) noexcept {
    for (std::uint32_t point = 0; TakeCharacter(bytes, point);) {
        if (point > 0xFFFF && (point & 0xFFFFU) < 0x80) return true;
    }
    return false;
}

}  // namespace platform::windows
