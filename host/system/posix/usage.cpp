#include "host/system/usage.h"

#include <malloc.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace host::system {

namespace {

std::size_t EntriesOf(const char* folder) {
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

// The anonymous pages: neither code nor files.
std::int64_t AnonymousMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        std::int64_t kibibytes = 0;
        if (word == "RssAnon:" && status >> kibibytes) return kibibytes * 1024;
    }
    throw std::runtime_error("the system doesn't tell how much memory is taken");
}

}  // namespace

Usage CurrentUsage() {
    const struct mallinfo2 heap = mallinfo2();
    // The listing of the descriptors has one itself.
    return {EntriesOf("/proc/self/fd") - 1, EntriesOf("/proc/self/task"),
            static_cast<std::int64_t>(heap.uordblks + heap.hblkhd), AnonymousMemory()};
}

}  // namespace host::system
