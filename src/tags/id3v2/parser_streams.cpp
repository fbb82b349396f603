#include "tags/id3v2/parser_streams.h"

#include <algorithm>
#include <array>
#include <cstring>

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

std::uint64_t streamFixSync::read(std::byte* buffer, std::uint64_t length) {
    std::uint64_t done = 0;
    while (done < length) {
        if (hasPending_) {
            buffer[done++] = pendingByte_;
            hasPending_ = false;
            continue;
        }
        const std::uint64_t came = source_.read(buffer + done, length - done);
        if (came == 0) break;
        done += undo({buffer + done, came});
    }
    return done;
}

// In place, run by run: few bytes of a picture are 0xFF. What follows one in the last place is read, too.
std::uint64_t streamFixSync::undo(std::span<std::byte> bytes) {
    std::byte* target = bytes.data();
    for (std::span<std::byte> rest = bytes; !rest.empty();) {
        const void* sync = std::memchr(rest.data(), std::to_integer<int>(kSyncByte), rest.size());
        const std::size_t run =
            sync == nullptr ? rest.size()
                            : static_cast<std::size_t>(static_cast<const std::byte*>(sync) - rest.data()) + 1;
        std::memmove(target, rest.data(), run);
        target += run;
        rest = rest.subspan(run);
        if (sync == nullptr) break;
        const bool last = rest.empty();
        std::byte next{};
        if (last) {
            source_.readExact(&next, 1);
        } else {
            next = rest.front();
            rest = rest.subspan(1);
        }
        if ((next & kSyncMask) == kSyncMask) throw parseError();
        if (next == std::byte{0}) continue;
        if (last) {
            pendingByte_ = next;
            hasPending_ = true;
        } else {
            *target++ = next;
        }
    }
    return static_cast<std::uint64_t>(target - bytes.data());
}

std::uint64_t streamFixSync::skip(std::uint64_t length) {
    std::array<std::byte, 1024> dropped;
    std::uint64_t done = 0;
    while (done < length) {
        const std::uint64_t came =
            read(dropped.data(), std::min<std::uint64_t>(length - done, dropped.size()));
        if (came == 0) break;
        done += came;
    }
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
