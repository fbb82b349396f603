#include "tags/apev2_items.h"

#include <algorithm>
#include <cstring>

#include "support/endian.h"
#include "tags/apev2_format.h"
#include "tags/apev2_layout.h"
#include "tags/idtags.h"

namespace apev2 {

namespace {

// What one read gets at least, and what of an item is looked for in it: the key and a picture's file name.
constexpr std::size_t kStep = 8192;
constexpr std::size_t kFront = 1024;

}  // namespace

bool ItemBytes::Fetch(std::size_t end) noexcept {
    if (end <= behind_) return true;
    const std::size_t count = end - behind_;
    const std::int64_t position = start_ + static_cast<std::int64_t>(behind_);
    if (file_.ReadAt(position, buffer_.data() + behind_, count) != count) return false;
    behind_ = end;
    return true;
}

bool ItemBytes::FetchAhead(std::size_t end) noexcept {
    if (end <= behind_) return true;
    return Fetch(std::min<std::size_t>(buffer_.size(), std::max(end, behind_ + kStep)));
}

ItemBytes::Fetched ItemBytes::FetchItem(std::size_t at) noexcept {
    const std::size_t size = buffer_.size();
    if (behind_ == size) return Fetched::Whole;
    if (!FetchAhead(std::min(size, at + kFront))) return Fetched::Not;
    const std::span<const std::byte> item = bytes().subspan(at);
    const std::size_t there = behind_ - at;
    const auto nul = [&](std::size_t from) -> std::size_t {
        if (from >= there) return there;
        const void* found = std::memchr(item.data() + from, 0, there - from);
        return found == nullptr
                   ? there
                   : static_cast<std::size_t>(static_cast<const std::byte*>(found) - item.data());
    };
    const std::size_t keyEnd = nul(kItemFixedBytes);
    if (keyEnd == there) return Fetch(size) ? Fetched::Whole : Fetched::Not;

    const std::uint32_t valueSize = GetLittle32(item.data());
    const std::uint64_t end = std::uint64_t{keyEnd} + 1 + valueSize;
    if (TypeOf(GetLittle32(item.data() + kItemFlagsOffset)) == ItemType::Binary &&
        valueSize >= kSmallestLeft && valueSize <= kLargestValue && end <= item.size() && end > there &&
        nul(keyEnd + 1) != there) {
        behind_ = at + static_cast<std::size_t>(end);
        return Fetched::WithoutValue;
    }
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size, at + end));
    return FetchAhead(wanted) ? Fetched::Whole : Fetched::Not;
}

}  // namespace apev2
