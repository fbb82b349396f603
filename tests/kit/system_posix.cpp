#include <dlfcn.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>
#include <stdexcept>

#include "kit/system.h"

namespace kit {

namespace {

int EntriesOf(const char* folder) {
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

}  // namespace

Library::Library(const std::filesystem::path& path) : handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) throw std::runtime_error(dlerror());
}

Library::~Library() {
    dlclose(handle_);
}

void* Library::Find(const char* name) const {
    void* found = dlsym(handle_, name);
    if (found == nullptr) throw std::runtime_error(dlerror());
    return found;
}

std::uint64_t OpenLog(const std::filesystem::path& path) {
    return static_cast<std::uint64_t>(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
}

std::string ReadAsChild(platform::PipeHandle pipe, std::size_t count) {
    std::string bytes(count, '\0');
    std::size_t done = 0;
    while (done < count) {
        const ssize_t came = read(static_cast<int>(pipe), bytes.data() + done, count - done);
        if (came < 0 && errno == EINTR) continue;
        if (came <= 0) break;
        done += static_cast<std::size_t>(came);
    }
    bytes.resize(done);
    return bytes;
}

void CloseLog(std::uint64_t log) {
    close(static_cast<int>(log));
}

void SetArguments(WorkerCommand& command, const std::vector<std::string>& arguments) {
    command.args = arguments;
}

int OpenHandles() {
    return EntriesOf("/proc/self/fd");
}

int RunningThreads() {
    return EntriesOf("/proc/self/task");
}

bool HasChildren() {
    return waitpid(-1, nullptr, WNOHANG) != -1;
}

std::u16string FreshEventName() {
    static int count = 0;
    return std::filesystem::path("decoder_test_" + std::to_string(getpid()) + "_" + std::to_string(++count))
        .u16string();
}

void RemoveEvent(const std::u16string& name) {
    std::filesystem::remove(std::filesystem::path("/dev/shm") / std::filesystem::path(name));
}

}  // namespace kit
