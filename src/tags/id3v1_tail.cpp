#include "tags/id3v1_tail.h"

#include <cstring>

TailState ReadId3v1Tail(clFile& file, Id3v1Tail& tail) noexcept {
    if (!file.Seek(-static_cast<std::int64_t>(kTailBytes), clFile::Where::End)) return TailState::OutOfReach;
    if (file.Read(tail.bytes.data(), kTailBytes) != kTailBytes) return TailState::Cut;
    const bool magic = std::memcmp(tail.bytes.data() + kApeMagicHead, "TAG", 3) == 0;
    const bool partOfApe = std::memcmp(tail.bytes.data(), "APE", kApeMagicHead) == 0;
    return magic && !partOfApe ? TailState::Tag : TailState::NoTag;
}
