#include "platform/process.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "platform/clock.h"
#include "platform/error.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/errors.h"
#include "platform/posix/life_line.h"
#include "platform/posix/ordinary_scheduling.h"

#ifndef P_PIDFD
#define P_PIDFD 3
#endif

extern char** environ;

namespace platform {

namespace {

// A child that was gone before a pidfd could be had, because the host reaps all children itself.
constexpr auto kEndedBeforehand = static_cast<ProcessHandle>(-2);

constexpr Milliseconds kKillPatience = 2000;
constexpr Milliseconds kReapPatience = 500;

// A process is its pidfd and, in the upper half, this process's end of its life line.
ProcessHandle Joined(int pidfd, int lifeLine) noexcept {
    return static_cast<ProcessHandle>(static_cast<std::int64_t>(lifeLine) << 32 | pidfd);
}
int Descriptor(ProcessHandle process) noexcept {
    return static_cast<int>(static_cast<std::int64_t>(process) & 0xFFFFFFFF);
}
int LifeLineOf(ProcessHandle process) noexcept {
    return static_cast<int>(static_cast<std::int64_t>(process) >> 32);
}

class SpawnSettings {
  public:
    SpawnSettings() noexcept {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

// The host may ignore or block what ends a worker whose pipe was closed, and its thread may be a real-time
// one.
int SetAttributes(posix_spawnattr_t* attributes) noexcept {
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    if (const int code = posix_spawnattr_setsigdefault(attributes, &all)) return code;
    if (const int code = posix_spawnattr_setsigmask(attributes, &none)) return code;
    int flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
    if (posix::IsRealTime()) {
        const sched_param ordinary{};
        if (const int code = posix_spawnattr_setschedpolicy(attributes, SCHED_OTHER)) return code;
        if (const int code = posix_spawnattr_setschedparam(attributes, &ordinary)) return code;
        flags |= POSIX_SPAWN_SETSCHEDULER;
    }
    return posix_spawnattr_setflags(attributes, static_cast<short>(flags));
}

// What stands in for a channel that there is none of. Never a closed descriptor: the worker's first opened
// file would become its keyboard.
struct Nothing {
    int input;   // always at its end
    int output;  // takes all
};

int SetChannels(posix_spawn_file_actions_t* actions, const ProcessStart& start,
                const Nothing& nothing) noexcept {
    for (int target = 0; target < 3; ++target) {
        const ChildChannel& channel = start.channels[static_cast<std::size_t>(target)];
        int source = target == STDIN_FILENO ? nothing.input : nothing.output;
        if (channel.mode == ChannelMode::Inherit) source = target;
        if (channel.mode == ChannelMode::Pipe) source = static_cast<int>(channel.end);
        if (const int code = posix_spawn_file_actions_adddup2(actions, source, target)) return code;
    }
#if __GLIBC_PREREQ(2, 34)
    // What the host forgot to mark close-on-exec is none of the worker's business.
    if (const int code = posix_spawn_file_actions_addclosefrom_np(actions, STDERR_FILENO + 1)) return code;
#endif
    if (start.workingDirectory.empty()) return 0;
    return posix_spawn_file_actions_addchdir_np(actions, start.workingDirectory.c_str());
}

int Spawn(const ProcessStart& start, const Nothing& nothing, pid_t& child) {
    std::vector<char*> arguments;
    arguments.reserve(start.args.size() + 1);
    for (const std::string& argument : start.args) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    SpawnSettings settings;
    if (const int code = SetAttributes(&settings.attributes)) return code;
    if (const int code = SetChannels(&settings.actions, start, nothing)) return code;
    return posix::OnTheProcessorsOfTheHost([&] {
        return posix_spawn(&child, start.exe.c_str(), &settings.actions, &settings.attributes,
                           arguments.data(), environ);
    });
}

// waitid for the process, without a wait. 0 or errno; `status` has no process while it runs.
int AskFor(ProcessHandle process, int options, siginfo_t& status) noexcept {
    for (;;) {
        status = {};
        const int result = waitid(static_cast<idtype_t>(P_PIDFD), static_cast<id_t>(Descriptor(process)),
                                  &status, WEXITED | WNOHANG | options);
        if (result == 0) return 0;
        if (errno != EINTR) return errno;
    }
}

void Nap() noexcept {
    const timespec step{0, 1000000};
    nanosleep(&step, nullptr);
}

// Takes the exit status, so that no zombie stays. A host that reaps children itself may have been faster; a
// debugger or tracer has the end first and passes it on only then.
void Reap(ProcessHandle process) noexcept {
    const std::uint64_t start = TickMilliseconds();
    siginfo_t status;
    while (AskFor(process, 0, status) == 0 && status.si_pid == 0 && WaitForProcess(process, 0) &&
           TickMilliseconds() - start < kReapPatience) {
        Nap();
    }
}

bool HasEnded(ProcessHandle process) noexcept {
    siginfo_t status;
    return AskFor(process, WNOWAIT, status) != 0 || status.si_pid != 0;
}

// False when the worker had ended and been reaped, by a host that does so itself, before its pidfd was
// opened: its id may then be a stranger's.
bool IsChildOfOurs(ProcessHandle process) noexcept {
    siginfo_t status;
    return AskFor(process, WNOWAIT, status) != ECHILD;
}

// The started worker as a handle, which takes the life line over.
ProcessHandle Watched(pid_t child, posix::LifeLine& lifeLine) noexcept {
    const int pidfd = posix::AboveStandard(static_cast<int>(syscall(SYS_pidfd_open, child, 0U)));
    if (pidfd >= 0) {
        lifeLine.TieTo(child);
        // Asked after the last use of the id: as long as nobody has reaped the worker, the id is its own.
        if (IsChildOfOurs(Joined(pidfd, 0))) return Joined(pidfd, lifeLine.Release());
        lifeLine.TieTo(0);
        posix::Close(pidfd);
        return kEndedBeforehand;
    }
    if (errno == ESRCH) return kEndedBeforehand;
    posix::KeepErrno();
    kill(child, SIGKILL);
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return ProcessHandle::None;
}

}  // namespace

ProcessHandle StartProcess(const ProcessStart& start) {
    if (!start.rawCommandLine.empty()) {
        SetLastError(kErrorInvalidParameter);
        return ProcessHandle::None;
    }
    const int output = posix::AboveStandard(open("/dev/null", O_RDWR | O_CLOEXEC));
    if (output < 0) {
        SetLastError(kErrorGeneralFailure);
        return ProcessHandle::None;
    }
    posix::LifeLine lifeLine;
    const bool tied = start.channels[STDIN_FILENO].mode == ChannelMode::None && lifeLine.Make();
    const int input = tied ? lifeLine.ChildEnd() : output;
    pid_t child = -1;
    int code = ENOMEM;
    try {
        code = Spawn(start, {input, output}, child);
    } catch (...) {
        posix::Close(output);
        throw;
    }
    posix::Close(output);
    if (code != 0) {
        posix::Keep(code);
        return ProcessHandle::None;
    }
    return Watched(child, lifeLine);
}

bool WaitForProcess(ProcessHandle process, Milliseconds limit) noexcept {
    if (process == kEndedBeforehand) return true;
    pollfd entry{Descriptor(process), POLLIN, 0};
    return posix::PollWithin(std::span(&entry, 1), limit) > 0;
}

EventHandle EndSignal(ProcessHandle process) noexcept {
    return static_cast<EventHandle>(Descriptor(process));
}

bool ExitCode(ProcessHandle process, std::int32_t& code) noexcept {
    if (process == kEndedBeforehand) return false;
    siginfo_t status;
    if (AskFor(process, WNOWAIT, status) != 0 || status.si_pid == 0) return false;
    code = status.si_code == CLD_EXITED ? status.si_status : -status.si_status;
    return true;
}

void KillProcess(ProcessHandle process) noexcept {
    if (process == kEndedBeforehand) return;
    const std::uint64_t start = TickMilliseconds();
    syscall(SYS_pidfd_send_signal, Descriptor(process), SIGKILL, nullptr, 0U);
    // Only what has ended can be reaped; a process in the middle of a stuck system call stays a zombie.
    if (WaitForProcess(process, kKillPatience)) return;
    // Where the system has no poll to give (no memory, or a host that may open no files at all).
    while (!HasEnded(process) && TickMilliseconds() - start < kKillPatience) {
        Nap();
    }
}

void ReleaseProcess(ProcessHandle process) noexcept {
    if (process == kEndedBeforehand) return;
    Reap(process);
    posix::Close(Descriptor(process));
    posix::LifeLine::Cut(LifeLineOf(process));
}

}  // namespace platform
