#include "tags/id3v1_tail.h"

#include <cstring>

namespace {

constexpr auto kBytes = static_cast<std::int64_t>(kTailBytes);

TailState StateOf(clFile& file, Id3v1Tail& tail) noexcept {
    bool failed = false;
    tail.fileSize = file.Size(&failed);
    if (failed) return TailState::Unreadable;
    if (tail.fileSize < kBytes) return TailState::TooShort;
    if (file.ReadAt(tail.fileSize - kBytes, tail.bytes.data(), kTailBytes) != kTailBytes)
        return TailState::Unreadable;
    const bool magic = std::memcmp(tail.bytes.data() + kApeMagicHead, "TAG", 3) == 0;
    const bool partOfApe = std::memcmp(tail.bytes.data(), "APE", kApeMagicHead) == 0;
    return magic && !partOfApe ? TailState::Tag : TailState::NoTag;
}

}  // namespace

Id3v1Tail ReadId3v1Tail(clFile& file) noexcept {
    Id3v1Tail tail;
    tail.state = StateOf(file, tail);
    return tail;
}
