#include "tags/apev2_layout.h"

#include <array>
#include <cstring>

#include "support/clbuffer.h"
#include "support/endian.h"

namespace apev2 {

namespace {

std::string_view Characters(std::span<const std::byte> bytes) noexcept {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool SaysTheSame(const Record& a, const Record& b) noexcept {
    return a.version == b.version && a.tagSize == b.tagSize && a.itemCount == b.itemCount;
}

// False at the end of the file, too: what is asked for lies in front of bytes that were read.
bool ReadWhole(clFile& file, std::int64_t position, std::span<std::byte> bytes) noexcept {
    return file.ReadAt(position, bytes.data(), bytes.size()) == bytes.size();
}

// Whether the items fill the tag to the byte, and are as many as it says.
bool ItemsFill(std::span<std::byte> items, std::uint32_t count) noexcept {
    StoredItem item;
    while (count > 0 && TakeItem(items, item)) --count;
    return count == 0 && items.empty();
}

// A record with the header's flag at the end of a file is the rest of a tag that was cut off behind its
// header, and then its size counts what isn't there any more; or it is the footer of a whole tag, from a
// writer that sets the flag in both. The file itself tells which.
Presence ProveFlaggedFooter(clFile& file, std::int64_t end, const Record& footer) noexcept {
    constexpr auto kHeaderBytes = static_cast<std::int64_t>(kFooterBytes);
    if (footer.tagSize < kFooterBytes || footer.tagSize > end) return Presence::Absent;
    const std::int64_t itemsStart = end - footer.tagSize;
    if ((footer.flags & kHasHeader) != 0) {
        if (itemsStart < kHeaderBytes) return Presence::Absent;
        std::array<std::byte, kFooterBytes> bytes{};
        if (!ReadWhole(file, itemsStart - kHeaderBytes, bytes)) return Presence::Unreadable;
        Record header;
        return ParseRecord(bytes.data(), header) && SaysTheSame(header, footer) ? Presence::Present
                                                                                : Presence::Absent;
    }
    clBuffer items;
    if (!items.Resize(footer.tagSize - static_cast<std::uint32_t>(kFooterBytes)) ||
        !ReadWhole(file, itemsStart, items.bytes())) {
        return Presence::Unreadable;
    }
    return ItemsFill(items.bytes(), footer.itemCount) ? Presence::Present : Presence::Absent;
}

}  // namespace

bool ParseRecord(const std::byte* bytes, Record& record) noexcept {
    if (std::memcmp(bytes, kMagic.data(), kMagic.size()) != 0) return false;
    record.version = GetLittle32(bytes + kVersionOffset);
    record.tagSize = GetLittle32(bytes + kSizeOffset);
    record.itemCount = GetLittle32(bytes + kCountOffset);
    record.flags = GetLittle32(bytes + kFlagsOffset);
    return record.version == kVersion1 || record.version == kVersion2;
}

bool IsHeaderOf(const std::byte* bytes, const Record& footer) noexcept {
    Record header;
    if (!ParseRecord(bytes, header)) return false;
    return (header.flags & kIsHeader) != 0 || SaysTheSame(header, footer);
}

Presence ReadFooter(clFile& file, std::int64_t end, Record& footer) noexcept {
    if (end < static_cast<std::int64_t>(kFooterBytes)) return Presence::Absent;
    std::array<std::byte, kFooterBytes> bytes{};
    if (!ReadWhole(file, end - static_cast<std::int64_t>(kFooterBytes), bytes)) return Presence::Unreadable;
    return JudgeFooter(file, end, bytes, footer);
}

Presence JudgeFooter(clFile& file, std::int64_t end, std::span<const std::byte, kFooterBytes> bytes,
                     Record& footer) noexcept {
    if (!ParseRecord(bytes.data(), footer)) return Presence::Absent;
    return (footer.flags & kIsHeader) != 0 ? ProveFlaggedFooter(file, end, footer) : Presence::Present;
}

bool TakeItem(std::span<std::byte>& rest, StoredItem& item) noexcept {
    if (rest.size() < kItemFixedBytes) return false;
    const std::uint32_t valueSize = GetLittle32(rest.data());
    const std::uint32_t flags = GetLittle32(rest.data() + kItemFlagsOffset);
    if (valueSize > kLargestValue) return false;
    const std::span<std::byte> behind = rest.subspan(kItemFixedBytes);
    const std::size_t keyLength = Characters(behind).find('\0');
    if (keyLength == std::string_view::npos || behind.size() - keyLength - 1 < valueSize) return false;
    item.type = TypeOf(flags);
    item.key = Characters(behind.first(keyLength));
    item.value = behind.subspan(keyLength + 1, valueSize);
    rest = behind.subspan(keyLength + 1 + valueSize);
    return true;
}

}  // namespace apev2
