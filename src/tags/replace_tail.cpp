#include "tags/replace_tail.h"

#include <algorithm>
#include <limits>

#include "support/clbuffer.h"

namespace {

struct OldTail {
    std::int64_t start;
    std::int64_t fileSize;
    clBuffer overwritten;  // the bytes from `start` on that the new ones may overwrite
};

bool Keep(clFile& file, std::size_t newBytes, OldTail& old) noexcept {
    const std::int64_t count = std::min(old.fileSize - old.start, static_cast<std::int64_t>(newBytes));
    if (count > std::numeric_limits<std::uint32_t>::max()) return false;
    if (!old.overwritten.Resize(static_cast<std::uint32_t>(count))) return false;
    return count == 0 ||
           file.ReadAt(old.start, old.overwritten.data(), old.overwritten.size()) == old.overwritten.size();
}

void PutBack(clFile& file, const OldTail& old) noexcept {
    if (!old.overwritten.empty()) file.WriteAt(old.start, old.overwritten.data(), old.overwritten.size());
    if (file.Size() > old.fileSize) file.SetLength(old.fileSize);
}

bool WriteAndCut(clFile& file, const OldTail& old, std::span<const std::byte> bytes,
                 std::size_t lasting) noexcept {
    const std::int64_t newSize = old.start + static_cast<std::int64_t>(lasting);
    const std::int64_t reached = old.start + static_cast<std::int64_t>(bytes.size());
    const bool written = bytes.empty() || file.WriteAt(old.start, bytes.data(), bytes.size());
    if (written && (std::max(old.fileSize, reached) == newSize || file.SetLength(newSize))) return true;
    PutBack(file, old);
    return false;
}

}  // namespace

bool ReplaceTail(clFile& file, std::int64_t start, std::span<const std::byte> bytes,
                 std::size_t lasting) noexcept {
    bool failed = false;
    OldTail old{.start = start, .fileSize = file.Size(&failed), .overwritten = {}};
    if (failed || start < 0 || start > old.fileSize || !Keep(file, bytes.size(), old)) return false;
    if (WriteAndCut(file, old, bytes, lasting)) return true;
    return lasting < bytes.size() && WriteAndCut(file, old, bytes.first(lasting), lasting);
}
