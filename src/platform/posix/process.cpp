#include "platform/process.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "platform/error.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/errors.h"

#ifndef P_PIDFD
#define P_PIDFD 3
#endif

extern char** environ;

namespace platform {

namespace {

// A child that was gone before a pidfd could be had, because the host reaps all children itself.
constexpr auto kEndedBeforehand = static_cast<ProcessHandle>(-2);

constexpr Milliseconds kKillPatience = 2000;

int Descriptor(ProcessHandle process) noexcept {
    return static_cast<int>(process);
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

// The host may ignore or block what ends a worker whose pipe was closed.
int SetDefaultSignals(posix_spawnattr_t* attributes) noexcept {
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    if (const int code = posix_spawnattr_setsigdefault(attributes, &all)) return code;
    if (const int code = posix_spawnattr_setsigmask(attributes, &none)) return code;
    return posix_spawnattr_setflags(attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
}

int SetChannels(posix_spawn_file_actions_t* actions, const ProcessStart& start, int nothing) noexcept {
    for (int target = 0; target < 3; ++target) {
        const ChildChannel& channel = start.channels[static_cast<std::size_t>(target)];
        int source = nothing;
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

int Spawn(const ProcessStart& start, int nothing, pid_t& child) {
    std::vector<char*> arguments;
    arguments.reserve(start.args.size() + 1);
    for (const std::string& argument : start.args) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    SpawnSettings settings;
    if (const int code = SetDefaultSignals(&settings.attributes)) return code;
    if (const int code = SetChannels(&settings.actions, start, nothing)) return code;
    return posix_spawn(&child, start.exe.c_str(), &settings.actions, &settings.attributes, arguments.data(),
                       environ);
}

// Takes the exit status, so that no zombie stays. A host that reaps children itself may have been faster.
void Reap(ProcessHandle process) noexcept {
    siginfo_t status{};
    while (waitid(static_cast<idtype_t>(P_PIDFD), static_cast<id_t>(Descriptor(process)), &status,
                  WEXITED | WNOHANG) < 0 &&
           errno == EINTR) {
    }
}

// False when the worker had ended and been reaped, by a host that does so itself, before its pidfd was
// opened: its id may then be a stranger's.
bool IsChildOfOurs(ProcessHandle process) noexcept {
    siginfo_t status{};
    return waitid(static_cast<idtype_t>(P_PIDFD), static_cast<id_t>(Descriptor(process)), &status,
                  WEXITED | WNOHANG | WNOWAIT) == 0 ||
           errno != ECHILD;
}

}  // namespace

ProcessHandle StartProcess(const ProcessStart& start) {
    if (!start.rawCommandLine.empty()) {
        SetLastError(kErrorInvalidParameter);
        return ProcessHandle::None;
    }
    // Never a closed descriptor 0: the worker's first opened file would become its keyboard.
    const int nothing = posix::AboveStandard(open("/dev/null", O_RDWR | O_CLOEXEC));
    if (nothing < 0) {
        SetLastError(kErrorGeneralFailure);
        return ProcessHandle::None;
    }
    pid_t child = -1;
    int code = ENOMEM;
    try {
        code = Spawn(start, nothing, child);
    } catch (...) {
        posix::Close(nothing);
        throw;
    }
    posix::Close(nothing);
    if (code != 0) {
        SetLastError(posix::ErrorFromErrno(code));
        return ProcessHandle::None;
    }
    const int pidfd = posix::AboveStandard(static_cast<int>(syscall(SYS_pidfd_open, child, 0U)));
    if (pidfd >= 0) {
        const auto process = static_cast<ProcessHandle>(pidfd);
        if (IsChildOfOurs(process)) return process;
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

bool WaitForProcess(ProcessHandle process, Milliseconds limit) noexcept {
    if (process == kEndedBeforehand) return true;
    pollfd entry{Descriptor(process), POLLIN, 0};
    return posix::PollWithin(std::span(&entry, 1), limit) > 0;
}

EventHandle EndSignal(ProcessHandle process) noexcept {
    return static_cast<EventHandle>(process);
}

bool ExitCode(ProcessHandle process, std::int32_t& code) noexcept {
    if (process == kEndedBeforehand) return false;
    siginfo_t status{};
    int result = 0;
    do {
        result = waitid(static_cast<idtype_t>(P_PIDFD), static_cast<id_t>(Descriptor(process)), &status,
                        WEXITED | WNOHANG | WNOWAIT);
    } while (result < 0 && errno == EINTR);
    // Without a process that has ended the structure stays empty.
    if (result != 0 || status.si_pid == 0) return false;
    code = status.si_code == CLD_EXITED ? status.si_status : -status.si_status;
    return true;
}

void KillProcess(ProcessHandle process) noexcept {
    if (process == kEndedBeforehand) return;
    syscall(SYS_pidfd_send_signal, Descriptor(process), SIGKILL, nullptr, 0U);
    // Only what has ended can be reaped; a process in the middle of a stuck system call stays a zombie.
    WaitForProcess(process, kKillPatience);
}

void ReleaseProcess(ProcessHandle process) noexcept {
    if (process == kEndedBeforehand) return;
    Reap(process);
    posix::Close(Descriptor(process));
}

}  // namespace platform
