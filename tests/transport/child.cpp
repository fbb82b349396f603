// The child of the transport tests; its first argument says what it does.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>

#include "transport/worker_process.h"

namespace {

void ShowArguments(int count, char** arguments) {
    for (int i = 0; i < count; ++i) std::printf("%s|", arguments[i]);
    std::printf("%s", std::fgetc(stdin) == EOF ? "no input" : "input");
    std::fprintf(stderr, "error text");
}

void ShowFolder() {
    std::printf("%s", std::filesystem::current_path().string().c_str());
}

void CopyInput() {
    for (int byte = std::fgetc(stdin); byte != EOF; byte = std::fgetc(stdin)) std::fputc(byte, stdout);
}

// Tells by a file that it ended because of the closed pipe and not by force.
void WriteUntilClosed(const char* file) {
#ifdef SIGPIPE
    std::signal(SIGPIPE, SIG_IGN);
#endif
    const std::string bytes(4096, 'x');
    while (std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size()) {
    }
    if (std::FILE* ended = std::fopen(file, "wb")) std::fclose(ended);
}

[[noreturn]] void Hang() {
    for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
}

// Starts another child that hangs and holds this one's standard output, and hangs as well.
void Parent(const char* program) {
    WorkerCommand command;
    command.exe = program;
    command.args = {"child", "hang"};
    command.stdoutMode = platform::ChannelMode::Inherit;
    WorkerProcess worker;
    worker.Start(command);
    std::printf("started");
    std::fflush(stdout);
    Hang();
}

}  // namespace

int main(int count, char** arguments) {
    const std::string task = count > 1 ? arguments[1] : "";
    if (task == "show") ShowArguments(count, arguments);
    if (task == "folder") ShowFolder();
    if (task == "copy") CopyInput();
    if (task == "write") WriteUntilClosed(arguments[2]);
    if (task == "hang") Hang();
    if (task == "parent") Parent(arguments[2]);
    return 0;
}
