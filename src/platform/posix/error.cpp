#include "platform/error.h"

#include <cerrno>

#include "platform/posix/errors.h"

namespace platform {

namespace {
thread_local std::uint32_t lastError = kErrorNone;
thread_local std::uint32_t lastSystemError = 0;
}  // namespace

std::uint32_t LastError() noexcept {
    return lastError;
}

void SetLastError(std::uint32_t code) noexcept {
    lastError = code;
    lastSystemError = 0;
}

std::uint32_t LastSystemError() noexcept {
    return lastSystemError;
}

namespace posix {

std::uint32_t ErrorFromErrno(int code) noexcept {
    switch (code) {
        case ENOENT:
            return kErrorFileNotFound;
        case ENOTDIR:
        case ELOOP:
            return kErrorPathNotFound;
        case EMFILE:
        case ENFILE:
            return kErrorTooManyOpenFiles;
        case EACCES:
        case EPERM:
        case EISDIR:
        case ENXIO:
        case ETXTBSY:
            return kErrorAccessDenied;
        case EBADF:
            return kErrorInvalidHandle;
        case ENOMEM:
            return kErrorNotEnoughMemory;
        case EROFS:
            return kErrorWriteProtect;
        case EINVAL:
            return kErrorInvalidParameter;
        case EPIPE:
            return kErrorBrokenPipe;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return kErrorDiskFull;
        case ENOEXEC:
            return kErrorBadExeFormat;
        case ENAMETOOLONG:
            return kErrorFilenameTooLong;
        default:
            return kErrorGeneralFailure;
    }
}

void Keep(int code) noexcept {
    lastError = ErrorFromErrno(code);
    lastSystemError = static_cast<std::uint32_t>(code);
}

void KeepErrno() noexcept {
    Keep(errno);
}

}  // namespace posix
}  // namespace platform
