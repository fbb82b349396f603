#include "host/system/standard_input.h"

#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace host::system {

std::optional<InputName> NameOfStandardInput() {
    struct stat status {};
    if (fstat(STDIN_FILENO, &status) != 0) return std::nullopt;
    return InputName{"/proc/" + std::to_string(getpid()) + "/fd/0", S_ISREG(status.st_mode)};
}

}  // namespace host::system
