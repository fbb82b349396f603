// The small error numbers that the logic speaks, and the thread's last one.
#pragma once

#include <cstdint>

namespace platform {

// The numbers are those of Win32; the POSIX side translates errno into them.
inline constexpr std::uint32_t kErrorNone = 0;
inline constexpr std::uint32_t kErrorFileNotFound = 2;
inline constexpr std::uint32_t kErrorPathNotFound = 3;
inline constexpr std::uint32_t kErrorTooManyOpenFiles = 4;
inline constexpr std::uint32_t kErrorAccessDenied = 5;
inline constexpr std::uint32_t kErrorInvalidHandle = 6;
inline constexpr std::uint32_t kErrorNotEnoughMemory = 8;
inline constexpr std::uint32_t kErrorWriteProtect = 19;
inline constexpr std::uint32_t kErrorGeneralFailure = 31;
inline constexpr std::uint32_t kErrorSharingViolation = 32;
inline constexpr std::uint32_t kErrorLockViolation = 33;
inline constexpr std::uint32_t kErrorHandleEof = 38;
inline constexpr std::uint32_t kErrorFileExists = 80;
inline constexpr std::uint32_t kErrorInvalidParameter = 87;
inline constexpr std::uint32_t kErrorBrokenPipe = 109;
inline constexpr std::uint32_t kErrorDiskFull = 112;
inline constexpr std::uint32_t kErrorInvalidName = 123;
inline constexpr std::uint32_t kErrorDirectoryNotEmpty = 145;
inline constexpr std::uint32_t kErrorAlreadyExists = 183;
inline constexpr std::uint32_t kErrorBadExeFormat = 193;
inline constexpr std::uint32_t kErrorFilenameTooLong = 206;
inline constexpr std::uint32_t kErrorNoUnicodeTranslation = 1113;

// Last failure of the calling thread. Only failing calls set it, unless their header says otherwise.
std::uint32_t LastError() noexcept;
void SetLastError(std::uint32_t code) noexcept;

// What the system itself said of the last failure, for people who look for the cause: errno, say. 0 when it
// said nothing.
std::uint32_t LastSystemError() noexcept;

}  // namespace platform
