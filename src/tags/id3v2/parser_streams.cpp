#include "tags/id3v2/parser_streams.h"

#include <algorithm>

namespace id3parser {

namespace {

constexpr std::byte kSyncByte{0xFF};
constexpr std::byte kSyncMask{0xE0};

}  // namespace

std::uint64_t streamLimited::read(std::byte* buffer, std::uint64_t length) {
    const std::uint64_t done = source_.read(buffer, std::min(length, remaining_));
    remaining_ -= done;
    return done;
}

std::uint64_t streamLimited::skip(std::uint64_t length) {
    const std::uint64_t done = source_.skip(std::min(length, remaining_));
    remaining_ -= done;
    return done;
}

void streamLimited::seek(std::uint64_t position) {
    if (position > total_) throw parseError();
    source_.seek(source_.tell() + remaining_ - total_ + position);
    remaining_ = total_ - position;
}

bool streamLimited::leave(std::uint64_t length, std::int64_t& filePosition) {
    if (length > remaining_ || !source_.leave(length, filePosition)) return false;
    remaining_ -= length;
    return true;
}

bool streamFixSync::readByte(std::byte& out) {
    if (hasPending_) {
        out = pendingByte_;
        hasPending_ = false;
        return true;
    }
    if (source_.read(&out, 1) == 0) return false;
    if (out == kSyncByte) {
        std::byte next{};
        source_.readExact(&next, 1);
        if ((next & kSyncMask) == kSyncMask) throw parseError();
        pendingByte_ = next;
        hasPending_ = next != std::byte{0};
    }
    return true;
}

std::uint64_t streamFixSync::read(std::byte* buffer, std::uint64_t length) {
    std::uint64_t done = 0;
    while (done < length && readByte(buffer[done])) ++done;
    return done;
}

std::uint64_t streamFixSync::skip(std::uint64_t length) {
    std::uint64_t done = 0;
    std::byte dropped{};
    while (done < length && readByte(dropped)) ++done;
    return done;
}

std::uint64_t streamInMem::read(std::byte* buffer, std::uint64_t length) {
    const std::uint64_t from = position_;
    const std::uint64_t done = skip(length);
    std::copy_n(data_.data() + from, done, buffer);
    return done;
}

std::uint64_t streamInMem::skip(std::uint64_t length) {
    const std::uint64_t done = std::min<std::uint64_t>(length, data_.size() - position_);
    position_ += done;
    return done;
}

void streamInMem::seek(std::uint64_t position) {
    if (position > data_.size()) throw parseError();
    position_ = position;
}

}  // namespace id3parser
