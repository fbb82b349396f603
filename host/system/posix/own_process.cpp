#include "host/system/own_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <system_error>

namespace host::system {

namespace {

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
    std::vector<char*> list;
    list.reserve(texts.size() + 1);
    for (const std::string& text : texts) list.push_back(const_cast<char*>(text.c_str()));
    list.push_back(nullptr);
    return list;
}

// With a byte for what malloc hands out and its complement for what is freed.
std::vector<char*> EnvironmentWithPerturbedMemory() {
    static char perturb[] = "MALLOC_PERTURB_=165";
    std::vector<char*> list;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, perturb, std::strcspn(perturb, "=") + 1) != 0) list.push_back(*entry);
    }
    list.push_back(perturb);
    list.push_back(nullptr);
    return list;
}

std::string Words(const siginfo_t& end) {
    if (end.si_code != CLD_EXITED)
        return "signal " + std::to_string(end.si_status) + " (" + strsignal(end.si_status) + ")";
    return end.si_status == 0 ? "" : "exit code " + std::to_string(end.si_status);
}

}  // namespace

struct OwnProcess::State {
    pid_t id = 0;
    int descriptor = -1;
};

OwnProcess::OwnProcess(const std::vector<std::string>& arguments) : state_(std::make_unique<State>()) {
    std::vector<std::string> words = {std::filesystem::read_symlink("/proc/self/exe").native()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    // A group of its own, so that what it started can be ended with it.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    const int failure = posix_spawn(&state_->id, words.front().c_str(), &actions, &attributes,
                                    Pointers(words).data(), EnvironmentWithPerturbedMemory().data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (failure != 0)
        throw std::system_error(failure, std::generic_category(), "can't start this program again");
    state_->descriptor = static_cast<int>(syscall(SYS_pidfd_open, state_->id, 0));
}

OwnProcess::~OwnProcess() {
    kill(-state_->id, SIGKILL);
    waitpid(state_->id, nullptr, 0);
    if (state_->descriptor >= 0) close(state_->descriptor);
}

std::optional<std::string> OwnProcess::Wait(std::chrono::milliseconds limit) {
    pollfd ending = {state_->descriptor, POLLIN, 0};
    if (poll(&ending, 1, static_cast<int>(limit.count())) != 1) return std::nullopt;
    siginfo_t end{};
    // It stays a zombie until the destructor: its number, and with it the group's, remains taken.
    if (waitid(P_PID, static_cast<id_t>(state_->id), &end, WEXITED | WNOWAIT) != 0) return std::nullopt;
    return Words(end);
}

void PrepareForCrashes() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

void EndAtOnce() {
    _exit(0);
}

}  // namespace host::system
