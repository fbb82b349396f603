#include "host/system/files.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

namespace host::system {

namespace {

constexpr mode_t kNewFileMode = 0666;

std::FILE* OpenStream(const std::filesystem::path& path, int flags, const char* mode) {
    const int descriptor = open(path.c_str(), flags | O_CLOEXEC, kNewFileMode);
    if (descriptor < 0) return nullptr;
    std::FILE* stream = fdopen(descriptor, mode);
    if (stream == nullptr) close(descriptor);
    return stream;
}

[[noreturn]] void ThrowErrno(const std::filesystem::path& path) {
    throw std::system_error(errno, std::generic_category(), path.string());
}

// A descriptor that goes with the object.
class Descriptor {
  public:
    Descriptor(const std::filesystem::path& path, int flags)
        : number_(open(path.c_str(), flags | O_CLOEXEC, S_IRUSR | S_IWUSR)) {
        if (number_ < 0) ThrowErrno(path);
    }
    ~Descriptor() { close(number_); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }

  private:
    const int number_;
};

// The access list is an extended attribute too.
void CopyExtendedAttributes(const char* from, const char* to) {
    const ssize_t size = listxattr(from, nullptr, 0);
    if (size <= 0) return;
    std::vector<char> names(static_cast<std::size_t>(size));
    const ssize_t listed = listxattr(from, names.data(), names.size());
    for (const char* name = names.data(); name < names.data() + listed;
         name += std::string(name).size() + 1) {
        const ssize_t length = getxattr(from, name, nullptr, 0);
        if (length < 0) continue;
        std::vector<char> value(static_cast<std::size_t>(length));
        const ssize_t got = getxattr(from, name, value.data(), value.size());
        if (got >= 0) setxattr(to, name, value.data(), static_cast<std::size_t>(got), 0);
    }
}

constexpr std::int64_t kNanoseconds = 1'000'000'000;

std::int64_t InNanoseconds(const timespec& time) {
    return time.tv_sec * kNanoseconds + time.tv_nsec;
}

timespec FromNanoseconds(std::int64_t nanoseconds) {
    timespec time{};
    time.tv_sec = nanoseconds / kNanoseconds;
    time.tv_nsec = nanoseconds % kNanoseconds;
    if (time.tv_nsec < 0) {
        time.tv_nsec += kNanoseconds;
        --time.tv_sec;
    }
    return time;
}

}  // namespace

bool HasOtherNames(const std::filesystem::path& path) {
    std::error_code failed;
    const std::uintmax_t names = std::filesystem::hard_link_count(path, failed);
    return !failed && names > 1;
}

std::FILE* OpenForReading(const std::filesystem::path& path) {
    return OpenStream(path, O_RDONLY, "rb");
}

std::FILE* OpenForWriting(const std::filesystem::path& path) {
    return OpenStream(path, O_WRONLY | O_CREAT | O_TRUNC, "wb");
}

std::FILE* OpenForAppending(const std::filesystem::path& path) {
    return OpenStream(path, O_WRONLY | O_CREAT | O_APPEND, "ab");
}

std::FILE* OpenNew(const std::filesystem::path& path) {
    return OpenStream(path, O_WRONLY | O_CREAT | O_EXCL, "wb");
}

bool MayRead(const std::filesystem::path& path) {
    return faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0;
}

bool MayWrite(const std::filesystem::path& path) {
    return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

void CopyWhole(const std::filesystem::path& from, const std::filesystem::path& to) {
    {
        const Descriptor source(from, O_RDONLY);
        const Descriptor target(to, O_WRONLY | O_CREAT | O_EXCL);
        if (ioctl(target.number(), FICLONE, source.number()) == 0) return;
    }
    std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
}

void CopyAttributes(const std::filesystem::path& from, const std::filesystem::path& to) noexcept {
    struct stat status {};
    if (stat(from.c_str(), &status) != 0) return;
    // The owner first: a change of it takes bits off the mode. Where the owner can't be given, the group may.
    if (chown(to.c_str(), status.st_uid, status.st_gid) != 0) {
        [[maybe_unused]] const int group = chown(to.c_str(), static_cast<uid_t>(-1), status.st_gid);
    }
    try {
        CopyExtendedAttributes(from.c_str(), to.c_str());
    } catch (const std::bad_alloc&) {
        // The mode matters more.
    }
    chmod(to.c_str(), status.st_mode & 07777);
}

std::optional<FileTimes> TimesOf(const std::filesystem::path& path) noexcept {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    return FileTimes{InNanoseconds(status.st_atim), InNanoseconds(status.st_mtim)};
}

bool SetTimes(const std::filesystem::path& path, FileTimes times) noexcept {
    const timespec both[] = {FromNanoseconds(times.access), FromNanoseconds(times.write)};
    return utimensat(AT_FDCWD, path.c_str(), both, 0) == 0;
}

void Sync(const std::filesystem::path& path) {
    const Descriptor file(path, O_RDONLY);
    if (fsync(file.number()) != 0) ThrowErrno(path);
}

void Replace(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (rename(from.c_str(), to.c_str()) != 0) ThrowErrno(to);
}

std::optional<std::filesystem::path> NameForWorker(const std::filesystem::path& path) {
    return path;
}

}  // namespace host::system
