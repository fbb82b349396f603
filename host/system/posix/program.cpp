#include "host/system/program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "host/system/interruption.h"

namespace host::system {

std::string OutputOf(const std::filesystem::path& program, const std::vector<std::string>& arguments) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return {};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char*> list = {const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) list.push_back(const_cast<char*>(argument.c_str()));
    list.push_back(nullptr);
    pid_t child = 0;
    const bool started = posix_spawn(&child, program.c_str(), &actions, nullptr, list.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    std::string output;
    char piece[4096];
    const auto deadline = std::chrono::steady_clock::now() + kPatienceWithPrograms;
    while (output.size() < kMostOutput) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) break;
        pollfd waiting{ends[0], POLLIN, 0};
        const int ready = poll(&waiting, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR && InterruptionCode() == 0) continue;
        const ssize_t count = ready > 0 ? read(ends[0], piece, sizeof piece) : 0;
        if (count <= 0) break;
        output.append(piece, static_cast<std::size_t>(count));
    }
    close(ends[0]);
    if (!started) return {};
    // One that has closed its output, or has had its time, has nothing more to say.
    kill(child, SIGKILL);
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return output;
}

}  // namespace host::system
