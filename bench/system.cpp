#include "system.h"

#include <fcntl.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

extern char** environ;

double WallSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double ProcessorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

long ReadCalls() {
    std::ifstream counts("/proc/thread-self/io");
    std::string name;
    long value = 0;
    while (counts >> name >> value) {
        if (name == "syscr:") return value;
    }
    return -1;
}

PipedProgram::PipedProgram(const std::vector<std::string>& arguments) {
    std::vector<char*> list;
    for (const std::string& argument : arguments) list.push_back(const_cast<char*>(argument.c_str()));
    list.push_back(nullptr);
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("can't make a pipe");
    pipe_ = ends[0];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    const int code = posix_spawnp(&child, list.front(), &actions, nullptr, list.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (code == 0) process_ = child;
}

PipedProgram::~PipedProgram() {
    if (pipe_ >= 0) close(pipe_);
    if (process_ < 0) return;
    kill(process_, SIGKILL);
    Wait();
}

std::size_t PipedProgram::Read(std::span<std::byte> buffer) {
    for (;;) {
        const ssize_t count = read(pipe_, buffer.data(), buffer.size());
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR) throw std::runtime_error("can't read from a program");
    }
}

void PipedProgram::End() {
    close(std::exchange(pipe_, -1));
    Wait();
}

int PipedProgram::Wait() {
    if (process_ < 0) return -1;
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int RunToEnd(const std::vector<std::string>& arguments) {
    PipedProgram program(arguments);
    std::array<std::byte, 4096> sink;
    while (program.Read(sink) > 0) {
    }
    return program.Wait();
}

long PeakKibibytes(const std::function<void()>& job) {
    const auto kibibytes = [](const std::string& wanted) {
        std::ifstream status("/proc/self/status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with(wanted)) return std::atol(line.c_str() + wanted.size());
        }
        return 0L;
    };
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) throw std::runtime_error("can't make a pipe");
    const pid_t child = fork();
    if (child == 0) {
        malloc_trim(0);
        const long before = kibibytes("VmRSS:");
        std::ofstream("/proc/self/clear_refs") << "5";  // forget the peak so far
        job();
        const long growth = kibibytes("VmHWM:") - before;
        _exit(write(ends[1], &growth, sizeof growth) == sizeof growth ? 0 : 1);
    }
    close(ends[1]);
    long growth = -1;
    const bool told = read(ends[0], &growth, sizeof growth) == sizeof growth;
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return told ? growth : -1;
}

std::string OwnPath() {
    return std::filesystem::read_symlink("/proc/self/exe").string();
}

void MarkTrace(const std::string& text) {
    // There is no such descriptor; the call fails and leaves nothing but its trace.
    if (write(-1, text.data(), text.size()) >= 0) std::abort();
}
