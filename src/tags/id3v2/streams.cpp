#include "tags/id3v2/streams.h"

#include <algorithm>

namespace id3parser {

std::uint64_t streamIn::readExact(std::byte* buffer, std::uint64_t length) {
    if (read(buffer, length) != length) throw parseError();
    return length;
}

std::uint64_t streamIn::skipExact(std::uint64_t length) {
    if (skip(length) != length) throw parseError();
    return length;
}

streamInCache::streamInCache(streamIn& source, std::uint64_t capacity)
    : source_(source), capacity_(capacity), buffer_(new std::byte[capacity]) {}

std::uint64_t streamInCache::read(std::byte* buffer, std::uint64_t length) {
    std::uint64_t done = 0;
    while (done < length) {
        const std::uint64_t taken = std::min(length - done, filled_ - cursor_);
        if (buffer != nullptr) std::copy_n(buffer_.get() + cursor_, taken, buffer + done);
        cursor_ += taken;
        done += taken;
        if (done == length) break;

        cursor_ = filled_ = 0;
        const std::uint64_t rest = length - done;
        if (rest > capacity_ / 2) {
            return done + (buffer == nullptr ? source_.skip(rest) : source_.read(buffer + done, rest));
        }
        filled_ = source_.read(buffer_.get(), capacity_);
        if (filled_ == 0) break;
    }
    return done;
}

void streamInCache::seek(std::uint64_t position) {
    source_.seek(position);
    cursor_ = filled_ = 0;
}

void streamOutBuffer::write(const std::byte* buffer, std::uint64_t length) {
    bytes.insert(bytes.end(), buffer, buffer + length);
}

}  // namespace id3parser
