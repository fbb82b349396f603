#include "transport/exceptions.h"

#include "platform/error.h"

namespace Qel {

void RaiseForWin32Error(std::uint32_t code) {
    switch (code) {
        case platform::kErrorFileNotFound:
        case platform::kErrorPathNotFound:
            throw file_not_found();
        case platform::kErrorDirectoryNotEmpty:
            throw directory_not_empty();
        case platform::kErrorFileExists:
        case platform::kErrorAlreadyExists:
            throw file_already_exists();
        default:
            throw file_access_error();
    }
}

}  // namespace Qel
