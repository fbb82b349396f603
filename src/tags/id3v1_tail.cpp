#include "tags/id3v1_tail.h"

#include <cstring>

TailState ReadId3v1Tail(clFile& file, Id3v1Tail& tail) noexcept {
    constexpr auto kBytes = static_cast<std::int64_t>(kTailBytes);
    if (!file.Seek(-kBytes, clFile::Where::End)) {
        bool failed = false;
        const bool tooShort = file.Size(&failed) < kBytes;
        return tooShort && !failed ? TailState::TooShort : TailState::Unreadable;
    }
    if (file.Read(tail.bytes.data(), kTailBytes) != kTailBytes) return TailState::Unreadable;
    const bool magic = std::memcmp(tail.bytes.data() + kApeMagicHead, "TAG", 3) == 0;
    const bool partOfApe = std::memcmp(tail.bytes.data(), "APE", kApeMagicHead) == 0;
    return magic && !partOfApe ? TailState::Tag : TailState::NoTag;
}
