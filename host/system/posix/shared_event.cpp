#include "host/system/shared_event.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace host::system {

namespace {

[[noreturn]] void ThrowErrno() {
    throw std::system_error(errno, std::generic_category(), "can't make an event");
}

}  // namespace

SharedEvent::SharedEvent(const std::filesystem::path& folder) {
    static int count = 0;
    const std::filesystem::path path = folder / ("event" + std::to_string(++count));
    if (mkfifo(path.c_str(), 0600) != 0) ThrowErrno();
    handle_ = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (handle_ < 0) ThrowErrno();
    name_ = path.u16string();
}

SharedEvent::~SharedEvent() {
    close(static_cast<int>(handle_));
    unlink(std::filesystem::path(name_).c_str());
}

void SharedEvent::Reset() const {
    char sink[256];
    while (read(static_cast<int>(handle_), sink, sizeof sink) > 0) {
    }
}

bool SharedEvent::SetByName(const std::u16string& name) {
    const int event = open(std::filesystem::path(name).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (event < 0) return false;
    const bool done = write(event, "", 1) == 1;
    close(event);
    return done;
}

}  // namespace host::system
