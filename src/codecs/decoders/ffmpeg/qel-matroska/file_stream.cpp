#include "codecs/decoders/ffmpeg/qel-matroska/file_stream.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "transport/streams.h"

namespace {

constexpr std::uint64_t kLongestSkipByReading = 256;
constexpr auto kLargestPosition = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());

}  // namespace

streamImpl::streamImpl(const char16_t* path) : file_(path != nullptr ? path : u"") {
    file_.shareMode = clFile::kShareReadWrite;
}

std::size_t streamImpl::ReadFileAt(std::uint64_t position, void* buffer, std::size_t size) {
    bool failed = false;
    const std::size_t count = file_.ReadAt(static_cast<std::int64_t>(position), buffer, size, &failed);
    if (failed) throw EBML::FileError();
    return count;
}

void streamImpl::FillWindow() {
    DropWindow();
    const std::size_t wanted = position_ == steppedTo_ ? kHeaderWindowBytes : kWindowBytes;
    windowSize_ = ReadFileAt(position_, window_.data(), wanted);
    windowBegin_ = position_;
}

// Fewer than `size` at the end of the file.
EBML::Bytes streamImpl::BytesAt(std::uint64_t position, std::size_t size) {
    EBML::Bytes bytes(size);
    bytes.resize(ReadFileAt(position, bytes.data(), size));
    return bytes;
}

std::size_t streamImpl::ReadSome(void* buffer, std::size_t size) {
    const bool inWindow = position_ >= windowBegin_ && position_ - windowBegin_ < windowSize_;
    std::size_t count = 0;
    if (!inWindow && size >= kWindowBytes) {
        count = ReadFileAt(position_, buffer, size);
    } else {
        if (!inWindow) FillWindow();
        const auto offset = static_cast<std::size_t>(position_ - windowBegin_);
        count = std::min(size, windowSize_ - offset);
        std::memcpy(buffer, window_.data() + offset, count);
    }
    position_ += count;
    return count;
}

void streamImpl::Read(void* buffer, std::size_t size) {
    RequireInRange(size);
    const std::size_t count = Qel::ReadUntilDone(
        [this](void* target, std::size_t wanted) { return ReadSome(target, wanted); }, buffer, size);
    if (count != size) throw EBML::ParseError();
}

void streamImpl::Skip(std::uint64_t size) {
    if (size <= kLongestSkipByReading) {
        std::array<std::byte, kLongestSkipByReading> passed;
        Read(passed.data(), static_cast<std::size_t>(size));
        return;
    }
    RequireInRange(size);
    Seek(position_ + size);
    steppedTo_ = position_;
}

void streamImpl::Seek(std::uint64_t position) {
    if (position > kLargestPosition) throw EBML::ParseError();
    position_ = position;
}

void streamImpl::Write(std::span<const std::byte> bytes) {
    Write(bytes.data(), bytes.size());
    m_range.end = std::max(m_range.end, Tell());
}

void streamImpl::Write(const void* data, std::size_t size) {
    if (size == 0) return;
    DropWindow();
    const EBML::Bytes old = BytesAt(position_, size);
    const auto position = static_cast<std::int64_t>(position_);
    if (!file_.WriteAt(position, data, size)) {
        // A part of them may have been overwritten.
        file_.WriteAt(position, old.data(), old.size());
        throw EBML::FileError();
    }
    position_ += size;
}

void streamImpl::SetSize(std::uint64_t size) {
    DropWindow();
    if (size > kLargestPosition || !file_.SetLength(static_cast<std::int64_t>(size))) {
        throw EBML::ParseError();
    }
}

bool streamImpl::TakeRoom(std::uint64_t size) {
    DropWindow();
    return size <= kLargestPosition && file_.TakeRoom(static_cast<std::int64_t>(size));
}

std::uint64_t streamImpl::GetSize() {
    bool failed = false;
    const std::int64_t size = file_.Size(&failed);
    if (failed) throw EBML::ParseError();
    return static_cast<std::uint64_t>(size);
}
