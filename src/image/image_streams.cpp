#include "image/image_streams.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "support/endian.h"
#include "transport/exceptions.h"
#include "transport/waitable.h"

namespace {

template <std::size_t Count>
std::array<std::byte, Count> ReadBytes(Qel::streamIn& stream) {
    std::array<std::byte, Count> bytes;
    stream.readExact(bytes.data(), bytes.size());
    return bytes;
}

}  // namespace

std::size_t MemorySource::read(void* buffer, std::size_t count) {
    const std::size_t now = std::min(count, bytes_.size() - position_);
    if (now != 0) std::memcpy(buffer, bytes_.data() + position_, now);
    position_ += now;
    return now;
}

std::uint64_t MemorySource::skip(std::uint64_t count) {
    const std::uint64_t now = std::min<std::uint64_t>(count, bytes_.size() - position_);
    position_ += static_cast<std::size_t>(now);
    return now;
}

void MemorySource::seek(std::uint64_t position) {
    if (position > bytes_.size()) throw Qel::invalid_input();
    position_ = static_cast<std::size_t>(position);
}

std::size_t PrefixReader::TakePrefix(void* buffer, std::size_t count) noexcept {
    const std::size_t now = std::min(count, prefix_.size());
    if (buffer != nullptr && now != 0) std::memcpy(buffer, prefix_.data(), now);
    prefix_ = prefix_.subspan(now);
    return now;
}

std::size_t PrefixReader::read(void* buffer, std::size_t count) {
    const auto step = [this](void* target, std::size_t wanted) {
        const std::size_t now = TakePrefix(target, wanted);
        return now != 0 ? now : stream_.read(target, wanted);
    };
    return Qel::ReadUntilDone(step, buffer, count);
}

std::uint64_t PrefixReader::skip(std::uint64_t count) {
    const auto inPrefix = static_cast<std::size_t>(std::min<std::uint64_t>(count, prefix_.size()));
    TakePrefix(nullptr, inPrefix);
    return inPrefix + stream_.skip(count - inPrefix);
}

std::size_t BoundedReader::read(void* buffer, std::size_t count) {
    const std::size_t now =
        stream_.read(buffer, static_cast<std::size_t>(std::min<std::uint64_t>(count, budget_)));
    budget_ -= now;
    return now;
}

void BoundedReader::readExact(void* buffer, std::size_t count) {
    if (count > budget_) throw Qel::invalid_input();
    stream_.readExact(buffer, count);
    budget_ -= count;
}

std::uint64_t BoundedReader::skip(std::uint64_t count) {
    const std::uint64_t now = stream_.skip(std::min(count, budget_));
    budget_ -= now;
    return now;
}

void BoundedReader::skipExact(std::uint64_t count) {
    if (count > budget_) throw Qel::invalid_input();
    stream_.skipExact(count);
    budget_ -= count;
}

std::uint64_t BoundedReader::Enter(std::uint64_t childBytes) {
    if (childBytes > budget_) throw Qel::invalid_input();
    const std::uint64_t behindChild = budget_ - childBytes;
    budget_ = childBytes;
    return behindChild;
}

void BoundedReader::Leave(std::uint64_t behindChild) {
    skipExact(budget_);
    budget_ = behindChild;
}

std::uint8_t ReadByte(Qel::streamIn& stream) {
    return std::to_integer<std::uint8_t>(ReadBytes<1>(stream)[0]);
}

std::uint16_t ReadLittle16(Qel::streamIn& stream) {
    return GetLittle16(ReadBytes<2>(stream).data());
}

std::uint32_t ReadLittle32(Qel::streamIn& stream) {
    return GetLittle32(ReadBytes<4>(stream).data());
}

std::uint16_t ReadBig16(Qel::streamIn& stream) {
    return GetBig16(ReadBytes<2>(stream).data());
}

std::uint32_t ReadBig32(Qel::streamIn& stream) {
    return GetBig32(ReadBytes<4>(stream).data());
}

std::uint64_t ReadBig64(Qel::streamIn& stream) {
    return GetBig64(ReadBytes<8>(stream).data());
}
