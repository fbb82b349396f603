#include "host/system/stalled_input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace host::system {

namespace {

[[noreturn]] void ThrowErrno() {
    throw std::system_error(errno, std::generic_category(), "can't make a FIFO");
}

}  // namespace

struct StalledInput::End {
    explicit End(int opened) : descriptor(opened) {}
    const int descriptor;
    ~End() { close(descriptor); }
};

StalledInput::StalledInput(const std::filesystem::path& folder, std::span<const std::byte> bytes)
    : path_(folder / "stalled") {
    if (mkfifo(path_.c_str(), 0600) != 0) ThrowErrno();
    // Open for both, so that neither this nor a reader's open waits.
    const int descriptor = open(path_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) ThrowErrno();
    end_ = std::make_unique<End>(descriptor);
    if (write(descriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) ThrowErrno();
}

StalledInput::~StalledInput() {
    unlink(path_.c_str());
}

}  // namespace host::system
