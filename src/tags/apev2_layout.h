// Where an APE tag stands in a file, and its items one by one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "support/clfile.h"
#include "tags/apev2_format.h"
#include "tags/presence.h"

namespace apev2 {

// What a header or footer says.
struct Record {
    std::uint32_t version = 0;
    std::uint32_t tagSize = 0;  // items and footer
    std::uint32_t itemCount = 0;
    std::uint32_t flags = 0;
};

// Takes kFooterBytes bytes apart; false without the magic and a version that is known.
bool ParseRecord(const std::byte* bytes, Record& record) noexcept;

// Whether the bytes in front of the items of that footer are its header. They aren't on the footer's word
// alone: what stands there may be audio, or the footer of another tag.
bool IsHeaderOf(const std::byte* bytes, const Record& footer) noexcept;

// Looks for the footer that ends at `end`. Its size is still to be checked.
Presence ReadFooter(clFile& file, std::int64_t end, Record& footer) noexcept;
// The same for who has read the bytes in front of `end` already.
Presence JudgeFooter(clFile& file, std::int64_t end, std::span<const std::byte, kFooterBytes> bytes,
                     Record& footer) noexcept;

enum class ItemType : std::uint32_t { Text = 0, Binary = 1, Locator = 2, Reserved = 3 };

constexpr ItemType TypeOf(std::uint32_t itemFlags) noexcept {
    return static_cast<ItemType>((itemFlags >> 1) & 3);
}

struct StoredItem {
    ItemType type;
    std::string_view key;
    std::span<std::byte> value;
};

// Takes an item off the front of `rest`; false at the first thing that doesn't fit.
bool TakeItem(std::span<std::byte>& rest, StoredItem& item) noexcept;

}  // namespace apev2
