#include "tags/id3v2/streams.h"

#include <algorithm>
#include <cstring>

namespace id3parser {

std::uint64_t streamIn::readExact(std::byte* buffer, std::uint64_t length) {
    if (read(buffer, length) != length) throw parseError();
    return length;
}

std::uint64_t streamIn::skipExact(std::uint64_t length) {
    if (skip(length) != length) throw parseError();
    return length;
}

std::uint64_t streamInCache::read(std::byte* buffer, std::uint64_t length) {
    std::uint64_t done = 0;
    while (done < length) {
        const std::uint64_t taken = std::min(length - done, filled_ - cursor_);
        if (buffer != nullptr) std::copy_n(room_.data() + cursor_, taken, buffer + done);
        cursor_ += taken;
        done += taken;
        if (done == length) break;

        cursor_ = filled_ = 0;
        const std::uint64_t rest = length - done;
        if (rest > room_.size() / 2) {
            return done + (buffer == nullptr ? source_.skip(rest) : source_.read(buffer + done, rest));
        }
        filled_ = source_.read(room_.data(), room_.size());
        if (filled_ == 0) break;
    }
    return done;
}

void streamInCache::seek(std::uint64_t position) {
    source_.seek(position);
    cursor_ = filled_ = 0;
}

bool streamInCache::leave(std::uint64_t length, std::int64_t& filePosition) {
    const std::uint64_t cached = filled_ - cursor_;
    if (length <= cached || !source_.leave(length - cached, filePosition)) return false;
    filePosition -= static_cast<std::int64_t>(cached);
    cursor_ = filled_ = 0;
    return true;
}

bool streamInCache::beginsWith(std::string_view bytes) {
    constexpr std::uint64_t kFirstBlock = 2048;  // most tags without a picture
    filled_ = source_.read(room_.data(), std::min<std::uint64_t>(room_.size(), kFirstBlock));
    return filled_ >= bytes.size() && std::memcmp(room_.data(), bytes.data(), bytes.size()) == 0;
}

void streamOutBuffer::write(const std::byte* buffer, std::uint64_t length) {
    bytes.insert(bytes.end(), buffer, buffer + length);
}

}  // namespace id3parser
