#include "transport/streams.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/error.h"
#include "transport/exceptions.h"
#include "transport/waitable.h"

namespace Qel {

namespace {

constexpr std::size_t kSkipBytes = 256;
constexpr std::size_t kLargestPiece = 0x1000000;

// `step` reads into a scratch area; how many of `count` bytes were passed.
template <typename Step>
std::uint64_t SkipBy(std::uint64_t count, Step step) {
    std::array<char, kSkipBytes> scratch;
    std::uint64_t passed = 0;
    while (passed < count) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(count - passed, scratch.size()));
        const std::size_t now = step(scratch.data(), wanted);
        passed += now;
        if (now < wanted) break;
    }
    return passed;
}

platform::Milliseconds LimitOf(double seconds) noexcept {
    if (!(seconds > 0)) return platform::kForever;
    return static_cast<platform::Milliseconds>(std::floor(seconds * 1000.0 + 0.5));
}

// The transfer signal of a stream, or one for this call only when the stream has none.
class TransferSignal {
  public:
    explicit TransferSignal(platform::EventHandle own) noexcept
        : temporary_(own == platform::EventHandle::None ? platform::CreateTransferSignal() : own),
          owned_(own == platform::EventHandle::None) {}
    ~TransferSignal() {
        if (owned_ && temporary_ != platform::EventHandle::None) platform::CloseSignal(temporary_);
    }
    TransferSignal(const TransferSignal&) = delete;
    TransferSignal& operator=(const TransferSignal&) = delete;

    platform::EventHandle handle() const noexcept { return temporary_; }

  private:
    platform::EventHandle temporary_;
    bool owned_;
};

// The bytes of one finished transfer; 0 only at the end of the channel.
std::size_t Finish(const platform::Transfer& transfer) {
    switch (transfer.how) {
        case platform::TransferEnd::Moved:
            return transfer.count;
        case platform::TransferEnd::EndOfChannel:
            return 0;
        case platform::TransferEnd::Aborted:
            throw user_abort();
        case platform::TransferEnd::TimedOut:
            throw network_error_timeout();
        case platform::TransferEnd::Failed:
            break;
    }
    RaiseForWin32Error(platform::LastError());
}

std::size_t ReadPiece(const _streamOverlappedBase& stream, const TransferSignal& signal, void* buffer,
                      std::size_t count) {
    return Finish(platform::ReadPipe(stream.handle, buffer, std::min(count, kLargestPiece), signal.handle(),
                                     CurrentAbortSignal(), LimitOf(stream.timeoutSeconds)));
}

}  // namespace

void streamIn::readExact(void* buffer, std::size_t count) {
    if (read(buffer, count) != count) throw invalid_input();
}

std::uint64_t streamIn::skip(std::uint64_t count) {
    return SkipBy(count, [this](void* scratch, std::size_t wanted) { return read(scratch, wanted); });
}

void streamIn::skipExact(std::uint64_t count) {
    if (skip(count) != count) throw invalid_input();
}

std::size_t streamIn::readWhenReady(void* buffer, std::size_t count) {
    prepareRead(buffer, count);
    return readNow(buffer, count);
}

std::size_t streamIn::readNow(void* buffer, std::size_t count) {
    return read(buffer, count);
}

std::uint64_t streamIn::skipNow(std::uint64_t count) {
    return SkipBy(count, [this](void* scratch, std::size_t wanted) { return readNow(scratch, wanted); });
}

void streamIn::prepareRead(void*, std::size_t) {}

bool streamIn::ready() {
    return true;
}

std::size_t streamOut::writeCounted(const void* buffer, std::size_t count) {
    write(buffer, count);
    return count;
}

void streamOut::prepareWrite() {}

bool streamOut::ready() {
    return true;
}

std::size_t streamInOverlapped::read(void* buffer, std::size_t count) {
    const TransferSignal signal(event);
    std::size_t total = 0;
    while (total < count) {
        const std::size_t now = ReadPiece(*this, signal, static_cast<char*>(buffer) + total, count - total);
        if (now == 0) break;
        total += now;
    }
    return total;
}

std::size_t streamInOverlapped::readSome(void* buffer, std::size_t count) {
    return count == 0 ? 0 : ReadPiece(*this, TransferSignal(event), buffer, count);
}

void streamOutOverlapped::write(const void* buffer, std::size_t count) {
    const TransferSignal signal(event);
    for (std::size_t total = 0; total < count;) {
        const std::size_t piece = std::min(count - total, kLargestPiece);
        total += Finish(platform::WritePipe(handle, static_cast<const char*>(buffer) + total, piece,
                                            signal.handle(), CurrentAbortSignal(), LimitOf(timeoutSeconds)));
    }
}

std::size_t streamInFetched::read(void* buffer, std::size_t count) {
    std::size_t total = 0;
    while (total < count) {
        if (begin_ == end_) {
            begin_ = end_ = 0;
            end_ = source_.readSome(window_.data(), window_.size());
            if (end_ == 0) break;
        }
        const std::size_t now = std::min(count - total, end_ - begin_);
        std::memcpy(static_cast<char*>(buffer) + total, window_.data() + begin_, now);
        begin_ += now;
        total += now;
    }
    return total;
}

}  // namespace Qel
