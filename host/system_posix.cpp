#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include "system.h"
#include "text.h"

namespace host::system {

namespace {

constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr int kSignalExitBase = 128;
constexpr mode_t kNewFileMode = 0666;

std::atomic<int> endingSignal = 0;
std::atomic<int> quitDescriptor = -1;
static_assert(std::atomic<int>::is_always_lock_free);

// Runs in any thread, the plug-in's included. The event stays set: nobody reads the byte.
extern "C" void OnEndingSignal(int number) {
    const int before = errno;
    endingSignal = number;
    const char byte = 1;
    if (write(quitDescriptor, &byte, 1) < 0) {
        // A full FIFO is a set event already.
    }
    errno = before;
}

[[noreturn]] void ThrowErrno(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::FILE* OpenStream(const std::filesystem::path& path, int flags, const char* mode) {
    const int descriptor = open(path.c_str(), flags | O_CLOEXEC, kNewFileMode);
    if (descriptor < 0) return nullptr;
    std::FILE* stream = fdopen(descriptor, mode);
    if (stream == nullptr) close(descriptor);
    return stream;
}

}  // namespace

std::vector<std::string> Arguments(int argc, char** argv) {
    if (argc < 1) return {};
    return {argv + 1, argv + argc};
}

void PrepareStandardStreams() {
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) close(descriptor);
}

std::filesystem::path OwnFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

const char* LibrarySuffix() {
    return ".so";
}

bool IsTerminal(std::FILE* stream) {
    return isatty(fileno(stream)) == 1;
}

int TerminalWidth(std::FILE* stream) {
    constexpr int kUnknownWidth = 80;
    winsize size{};
    if (ioctl(fileno(stream), TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUnknownWidth;
    return size.ws_col;
}

std::FILE* OpenForReading(const std::filesystem::path& path) {
    return OpenStream(path, O_RDONLY, "rb");
}

std::FILE* OpenForWriting(const std::filesystem::path& path) {
    return OpenStream(path, O_WRONLY | O_CREAT | O_TRUNC, "wb");
}

std::FILE* OpenNew(const std::filesystem::path& path) {
    return OpenStream(path, O_WRONLY | O_CREAT | O_EXCL, "wb");
}

Library::Library(const std::filesystem::path& path) : handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) throw std::runtime_error(dlerror());
}

Library::~Library() {
    dlclose(handle_);
}

void* Library::Symbol(const char* name) const {
    return dlsym(handle_, name);
}

LogFile::LogFile() {
    const int descriptor = memfd_create("decoder-host error log", MFD_CLOEXEC);
    if (descriptor < 0) ThrowErrno("can't make a temporary log");
    word_ = static_cast<std::uint64_t>(descriptor);
}

LogFile::LogFile(const std::filesystem::path& path) {
    const int descriptor =
        open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, kNewFileMode);
    if (descriptor < 0) ThrowErrno(path.string());
    word_ = static_cast<std::uint64_t>(descriptor);
}

LogFile::~LogFile() {
    close(static_cast<int>(word_));
}

std::uint64_t LogFile::Size() const {
    struct stat status {};
    if (fstat(static_cast<int>(word_), &status) != 0 || status.st_size < 0) return 0;
    return static_cast<std::uint64_t>(status.st_size);
}

std::u16string LogFile::TextFrom(std::uint64_t offset) const {
    std::u16string text;
    std::array<char16_t, 2048> piece;
    for (;;) {
        const auto position = static_cast<off_t>(offset + text.size() * sizeof(char16_t));
        const ssize_t count = pread(static_cast<int>(word_), piece.data(), sizeof piece, position);
        if (count < static_cast<ssize_t>(sizeof(char16_t))) return text;
        text.append(piece.data(), static_cast<std::size_t>(count) / sizeof(char16_t));
    }
}

// A FIFO that is set while it holds a byte, in a folder that nobody else can write to.
QuitEvent::QuitEvent() {
    std::string folder = (std::filesystem::temp_directory_path() / "decoder-host-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) ThrowErrno("can't make a folder for the quit event");
    const std::string path = folder + "/quit";
    if (mkfifo(path.c_str(), S_IRUSR | S_IWUSR) == 0) {
        quitDescriptor = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    }
    name_ = ToUtf16(path);
    if (quitDescriptor < 0) {
        const int code = errno;
        Opened();
        throw std::system_error(code, std::generic_category(), "can't make the quit event");
    }

    // Interrupted writes are not taken up again: the reader of our output may never read. The second Ctrl-C
    // ends the program at once.
    struct sigaction action {};
    action.sa_handler = OnEndingSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : kEndingSignals) {
        struct sigaction before {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
    }
}

QuitEvent::~QuitEvent() {
    for (const int number : kEndingSignals) {
        struct sigaction now {};
        sigaction(number, nullptr, &now);
        if (now.sa_handler == OnEndingSignal) signal(number, SIG_DFL);
    }
    Opened();
    close(quitDescriptor.exchange(-1));
}

void QuitEvent::Opened() {
    if (name_.empty()) return;
    const std::string path = ToUtf8(name_);
    unlink(path.c_str());
    rmdir(std::filesystem::path(path).parent_path().c_str());
    name_.clear();
}

int InterruptionCode() {
    const int number = endingSignal;
    return number == 0 ? 0 : kSignalExitBase + number;
}

}  // namespace host::system
