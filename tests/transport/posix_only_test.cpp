#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <set>
#include <utility>

#include "kit/files.h"
#include "kit/system.h"
#include "kit/tools.h"
#include "platform/codepage.h"
#include "platform/error.h"
#include "platform/event.h"
#include "platform/file.h"
#include "transport/thread.h"
#include "transport/worker_process.h"

namespace {

// Whose pidfd the next start gets in place of the child's, and the child that it was asked for.
pid_t strangerToGive = 0;
pid_t childAskedFor = 0;
// Why the next start gets no pidfd.
int pidfdError = 0;

}  // namespace

// Every call of `syscall` in this program comes here. The platform makes none with more arguments.
extern "C" long __real_syscall(long number, ...);
extern "C" long __wrap_syscall(long number, ...) {
    va_list list;
    va_start(list, number);
    long arguments[4];
    for (long& argument : arguments) argument = va_arg(list, long);
    va_end(list);
    if (number == SYS_pidfd_open && pidfdError != 0) {
        errno = std::exchange(pidfdError, 0);
        return -1;
    }
    if (number == SYS_pidfd_open && strangerToGive != 0) {
        childAskedFor = static_cast<pid_t>(arguments[0]);
        arguments[0] = std::exchange(strangerToGive, 0);
    }
    return __real_syscall(number, arguments[0], arguments[1], arguments[2], arguments[3]);
}

namespace {

WorkerCommand Child(const std::string& task, const std::string& argument = {}) {
    WorkerCommand command;
    command.exe = TRANSPORT_CHILD;
    command.args = {"child", task, argument};
    command.stdoutMode = platform::ChannelMode::Pipe;
    command.stderrMode = platform::ChannelMode::Pipe;
    return command;
}

// A helper that the host forks and that lives on has no copy of the end by which a worker sees that nobody
// reads any more.
TEST(WorkerProcessPosix, IsNotKeptByAForkedChild) {
    const kit::TempFolder folder;
    const std::filesystem::path ended = folder / "ended";
    WorkerProcess worker;
    worker.Start(Child("write", kit::Utf8(ended)));
    const pid_t helper = fork();
    if (helper == 0) {
        for (;;) pause();
    }
    worker.Stop();
    EXPECT_TRUE(std::filesystem::exists(ended)) << "ended by force";
    kill(helper, SIGKILL);
    waitpid(helper, nullptr, 0);
}

TEST(WorkerProcessPosix, LeavesNoZombieWithoutPoll) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    WorkerProcess worker;
    worker.Start(Child("hang"));
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0) << "poll then fails for a single descriptor";
    worker.StopWhole();
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(waitpid(-1, nullptr, 0), -1) << "the child was left";
}

TEST(ProcessPosix, HasEndedOnceItWasKilled) {
    const platform::ProcessHandle process =
        platform::StartProcess({TRANSPORT_CHILD, {"child", "hang"}, {}, {}, {}});
    ASSERT_NE(process, platform::ProcessHandle::None);
    platform::KillProcess(process);
    EXPECT_TRUE(platform::WaitForProcess(process, 0)) << "only what has ended can be reaped";
    platform::ReleaseProcess(process);
    EXPECT_FALSE(kit::HasChildren());
}

// A host that reaps all children may have been faster than the opening of the pidfd, and the number may be a
// stranger's by then.
TEST(ProcessPosix, KillsNoStranger) {
    int numbers[2];
    ASSERT_EQ(pipe2(numbers, O_CLOEXEC), 0);
    const pid_t between = fork();
    if (between == 0) {
        // Its child is none of ours.
        const pid_t stranger = fork();
        if (stranger == 0) {
            for (;;) pause();
        }
        _exit(write(numbers[1], &stranger, sizeof stranger) == sizeof stranger ? 0 : 1);
    }
    pid_t stranger = 0;
    ASSERT_EQ(read(numbers[0], &stranger, sizeof stranger), static_cast<ssize_t>(sizeof stranger));
    waitpid(between, nullptr, 0);
    close(numbers[0]);
    close(numbers[1]);
    const int watched = static_cast<int>(syscall(SYS_pidfd_open, stranger, 0));

    strangerToGive = stranger;
    const platform::ProcessHandle process =
        platform::StartProcess({TRANSPORT_CHILD, {"child", "hang"}, {}, {}, {}});
    ASSERT_NE(process, platform::ProcessHandle::None);
    platform::KillProcess(process);
    EXPECT_TRUE(platform::WaitForProcess(process, 0)) << "it counts as ended";
    platform::ReleaseProcess(process);
    EXPECT_FALSE(platform::WaitForProcess(static_cast<platform::ProcessHandle>(watched), 0))
        << "the stranger was killed";
    kill(stranger, SIGKILL);
    close(watched);
    kill(childAskedFor, SIGKILL);
    EXPECT_EQ(waitpid(childAskedFor, nullptr, 0), childAskedFor);
}

// The signals that a thread blocks, as the system tells them.
std::set<int> BlockedBy(const std::filesystem::path& thread) {
    std::ifstream stream(thread / "status");
    std::set<int> blocked;
    for (std::string line; std::getline(stream, line);) {
        if (!line.starts_with("SigBlk:")) continue;
        const std::uint64_t mask = std::stoull(line.substr(7), nullptr, 16);
        for (int signal = 1; signal < SIGRTMIN; ++signal) {
            if ((mask >> (signal - 1) & 1) != 0) blocked.insert(signal);
        }
    }
    return blocked;
}

TEST(ProcessPosix, EndsAChildThatItCannotWatch) {
    pidfdError = EMFILE;
    WorkerProcess worker;
    EXPECT_THROW(worker.Start(Child("hang")), std::runtime_error);
    EXPECT_EQ(platform::LastError(), platform::kErrorTooManyOpenFiles);
    EXPECT_FALSE(kit::HasChildren());
    // A host may have taken the end of a quick one.
    pidfdError = ESRCH;
    worker.Start(Child("show"));
    worker.Stop();
    EXPECT_GT(waitpid(-1, nullptr, 0), 0);
}

TEST(ThreadPosix, LeavesTheSignalsToTheHost) {
    const std::set<int> before = BlockedBy("/proc/thread-self");
    Qel::thread thread("looked at", 0);
    std::set<int> blocked;
    thread.start([&] { blocked = BlockedBy("/proc/thread-self"); }, platform::CurrentThreadPriority());
    thread.join();
    EXPECT_EQ(BlockedBy("/proc/thread-self"), before) << "the caller's own mask stays";
    for (const int signal : {SIGINT, SIGTERM, SIGALRM, SIGCHLD, SIGUSR1, SIGPIPE})
        EXPECT_TRUE(blocked.contains(signal)) << signal;
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT})
        EXPECT_FALSE(blocked.contains(fault)) << fault;
}

TEST(FilePosix, TellsWhyAFileDoesNotOpen) {
    const kit::TempFolder folder;
    kit::WriteFile(folder / "file", "");
    std::filesystem::create_symlink("loop", folder / "loop");
    const std::pair<std::u16string, std::uint32_t> cases[] = {
        {u"missing", platform::kErrorFileNotFound},
        {u"file/under it", platform::kErrorPathNotFound},
        {u"loop", platform::kErrorPathNotFound},
        {std::u16string(300, u'n'), platform::kErrorFilenameTooLong},
        {std::u16string(u"file\0", 5), platform::kErrorInvalidName},
    };
    for (const auto& [name, error] : cases) {
        const std::u16string path = folder.path().u16string() + u"/" + name;
        EXPECT_EQ(platform::OpenExisting(path, platform::kAccessRead, 0), platform::FileHandle::Closed);
        EXPECT_EQ(platform::LastError(), error) << error;
    }
    EXPECT_EQ(platform::FileSize(platform::FileHandle::Closed), -1);
    EXPECT_EQ(platform::LastError(), platform::kErrorInvalidHandle);
}

TEST(FilePosix, TellsOfDevicesAndPipesWhatTheyAre) {
    const int device = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(platform::FileSize(static_cast<platform::FileHandle>(device)), 0);
    close(device);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_EQ(platform::FileSize(static_cast<platform::FileHandle>(ends[0])), -1);
    for (const int end : ends) close(end);
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(platform::WriteAt(static_cast<platform::FileHandle>(full), 0, "x", 1), 0U);
    EXPECT_EQ(platform::LastError(), platform::kErrorDiskFull);
    close(full);
}

TEST(WorkerProcessPosix, TakesNoCommandLineInOnePiece) {
    WorkerCommand command = Child("show");
    command.rawCommandLine = "child show";
    WorkerProcess worker;
    EXPECT_THROW(worker.Start(command), std::runtime_error);
    EXPECT_EQ(platform::LastError(), platform::kErrorInvalidParameter);
}

// Windows-1252, and the control characters where that has none.
TEST(CodePagePosix, KeepsEveryByteOfAnsiText) {
    std::string bytes;
    for (int byte = 0x80; byte <= 0x9F; ++byte) bytes += static_cast<char>(byte);
    const std::u16string text =
        u"\u20AC\u0081\u201A\u0192\u201E\u2026\u2020\u2021\u02C6\u2030\u0160\u2039\u0152\u008D\u017D"
        u"\u008F"
        u"\u0090\u2018\u2019\u201C\u201D\u2022\u2013\u2014\u02DC\u2122\u0161\u203A\u0153\u009D\u017E"
        u"\u0178";
    EXPECT_EQ(platform::ToWide(platform::CodePage::Ansi, bytes), text);
    EXPECT_EQ(platform::FromWide(platform::CodePage::Ansi, text), bytes);
    EXPECT_EQ(platform::FromWide(platform::CodePage::Ansi, u"~\u00A0\u00FF\u0080_\u0100_\U0001F3B5"),
              "~\xA0\xFF?_?_?");
    EXPECT_EQ(platform::FromWide(platform::CodePage::Latin1, u"a\U0001F3B5b"), "a?b");
}

TEST(EventPosix, IsAFifoOfThisUser) {
    const kit::TempFolder folder;
    kit::WriteFile(folder / "file", "");
    EXPECT_EQ(platform::OpenNamedSignal((folder / "file").u16string()), platform::EventHandle::None);
    EXPECT_EQ(platform::LastError(), platform::kErrorAccessDenied);
    EXPECT_EQ(platform::OpenNamedSignal(folder.path().u16string()), platform::EventHandle::None);
    EXPECT_EQ(platform::OpenNamedSignal((folder / "none" / "event").u16string()),
              platform::EventHandle::None);
    EXPECT_EQ(platform::LastError(), platform::kErrorFileNotFound);
    EXPECT_EQ(platform::OpenNamedSignal(u"a/name"), platform::EventHandle::None)
        << "no path, and none of an event";
    EXPECT_EQ(platform::LastError(), platform::kErrorInvalidName);

    const platform::EventHandle own = platform::OpenNamedSignal((folder / "own").u16string());
    ASSERT_NE(own, platform::EventHandle::None);
    struct stat status {};
    ASSERT_EQ(stat((folder / "own").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFIFO | S_IRUSR | S_IWUSR);
    platform::CloseSignal(own);
    // Only root can make another user's; nobody else could open it anyway.
    if (geteuid() == 0) {
        ASSERT_EQ(chown((folder / "own").c_str(), 1, 1), 0);
        EXPECT_EQ(platform::OpenNamedSignal((folder / "own").u16string()), platform::EventHandle::None);
    }
}

TEST(EventPosix, CopiesAreNeitherStandardNorInherited) {
    const platform::EventHandle event = platform::CreateSignal();
    const int input = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    close(STDIN_FILENO);
    const platform::EventHandle copy = platform::DuplicateSignal(event);
    dup2(input, STDIN_FILENO);
    close(input);
    EXPECT_GT(static_cast<int>(copy), STDERR_FILENO);
    EXPECT_EQ(fcntl(static_cast<int>(copy), F_GETFD), FD_CLOEXEC);
    platform::CloseSignal(copy);
    platform::CloseSignal(event);
}

}  // namespace
