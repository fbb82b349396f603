#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <filesystem>

#include "tiny_system.h"

namespace tiny {

QuitSignal::QuitSignal(const std::u16string& name)
    : handle_(open(std::filesystem::path(name).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)) {}

QuitSignal::~QuitSignal() {
    if (IsThere()) close(static_cast<int>(handle_));
}

bool QuitSignal::IsThere() const {
    return handle_ >= 0;
}

bool QuitSignal::IsSet() const {
    pollfd event = {static_cast<int>(handle_), POLLIN, 0};
    return poll(&event, 1, 0) == 1;
}

void StayLoaded() {}

void SpoilExit() {}

void WriteLog(std::uint64_t log, const std::u16string& text) {
    if (log == 0 || log == ~std::uint64_t{0}) return;
    [[maybe_unused]] const ssize_t count = write(static_cast<int>(log), text.data(), text.size() * 2);
}

}  // namespace tiny
