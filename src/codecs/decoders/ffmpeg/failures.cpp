#include "codecs/decoders/ffmpeg/failures.h"

#include <new>
#include <utility>

#include "platform/error.h"
#include "transport/exceptions.h"

namespace {

template <typename Exception>
bool IsA(const std::exception& exception) noexcept {
    return dynamic_cast<const Exception*>(&exception) != nullptr;
}

}  // namespace

void LastFailure::Begin() noexcept {
    pending = DECODER_FAILURE_NONE;
    pendingWords = nullptr;
    logged.Erase(1, logged.Length());
}

void LastFailure::End(bool done) noexcept {
    reason = DECODER_FAILURE_NONE;
    if (done) return;
    reason = pending == DECODER_FAILURE_NONE ? DECODER_FAILURE_OTHER : pending;
    words = pendingWords;
    std::swap(message, logged);
}

void LastFailure::Is(DecoderFailure failure, const char16_t* why) noexcept {
    pending = failure;
    pendingWords = why;
}

bool LastFailure::Demand(bool holds, DecoderFailure failure, const char16_t* why) noexcept {
    if (!holds) Is(failure, why);
    return holds;
}

void LastFailure::Caught(const std::exception& exception) noexcept {
    if (IsA<std::bad_alloc>(exception)) {
        Is(DECODER_FAILURE_OUT_OF_MEMORY);
    } else if (pending == DECODER_FAILURE_NONE && IsA<Qel::bug_check>(exception)) {
        Is(DECODER_FAILURE_NO_RESOURCES);
    }
}

const char16_t* LastFailure::Text() const noexcept {
    if (reason == DECODER_FAILURE_NONE) return nullptr;
    if (!message.IsEmpty()) return message.text();
    if (words != nullptr) return words;
    return reason == DECODER_FAILURE_OUT_OF_MEMORY ? u"Out of memory" : u"Unknown failure";
}

DecoderFailure FailureOfOpening(std::uint32_t code) noexcept {
    switch (code) {
        case platform::kErrorFileNotFound:
        case platform::kErrorPathNotFound:
            return DECODER_FAILURE_FILE_NOT_FOUND;
        case platform::kErrorAccessDenied:
        case platform::kErrorWriteProtect:
        case platform::kErrorSharingViolation:
        case platform::kErrorLockViolation:
            return DECODER_FAILURE_NO_ACCESS;
        case platform::kErrorNotEnoughMemory:
            return DECODER_FAILURE_OUT_OF_MEMORY;
        default:
            return DECODER_FAILURE_NOT_OPENED;
    }
}

DecoderFailure FailureOfStart(const std::exception& exception, bool started) noexcept {
    if (IsA<std::bad_alloc>(exception)) return DECODER_FAILURE_OUT_OF_MEMORY;
    if (IsA<Qel::bug_check>(exception)) return DECODER_FAILURE_NO_RESOURCES;
    if (started) return DECODER_FAILURE_READ_FAILED;
    return IsA<Qel::file_not_found>(exception) ? DECODER_FAILURE_WORKER_MISSING
                                               : DECODER_FAILURE_WORKER_NOT_STARTED;
}

TagJob::~TagJob() {
    if (trouble.step == clFileTrouble::Step::Open) {
        failure.Is(FailureOfOpening(trouble.code));
    } else if (trouble.step == clFileTrouble::Step::Write && trouble.code == platform::kErrorDiskFull) {
        failure.Is(DECODER_FAILURE_DISK_FULL);
    } else {
        failure.Is(DECODER_FAILURE_TAG_NOT_WRITABLE);
    }
}
