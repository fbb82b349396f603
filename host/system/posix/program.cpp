#include "host/system/program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

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
    for (;;) {
        const ssize_t count = read(ends[0], piece, sizeof piece);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        output.append(piece, static_cast<std::size_t>(count));
    }
    close(ends[0]);
    while (started && waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return output;
}

}  // namespace host::system
