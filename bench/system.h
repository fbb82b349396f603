// What the benchmarks need of the operating system: child processes, clocks. Failures are
// std::runtime_error.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

// Seconds of a clock that only goes forward, and of processor time that all threads of this process took.
double WallSeconds();
double ProcessorSeconds();

// Calls of `read` and its kin by the calling thread since it began; negative when the system doesn't tell.
long ReadCalls();

// A program (looked up in PATH) with standard input and error closed off, and standard output into a pipe.
class PipedProgram {
  public:
    explicit PipedProgram(const std::vector<std::string>& arguments);
    PipedProgram(const PipedProgram&) = delete;
    PipedProgram& operator=(const PipedProgram&) = delete;
    ~PipedProgram();  // kills what still runs

    // What is there, waiting for the first byte of it; 0 at the end.
    std::size_t Read(std::span<std::byte> buffer);

    // Waits for the end of the program; its exit status.
    int Wait();

    // Reads no more, so that the program ends with its next write, and waits for that.
    void End();

  private:
    int pipe_ = -1;
    int process_ = -1;
};

// Runs a program to its end and throws its output away; the exit status, or -1 when there is no such program.
int RunToEnd(const std::vector<std::string>& arguments);

// By how much the memory of this process grows at most while the job runs, in pages that are really used. The
// job runs in a copy of the process.
long PeakKibibytes(const std::function<void()>& job);

// This program's own file.
std::string OwnPath();

// A line that a tracer of this process sees among the system calls, and nobody else.
void MarkTrace(const std::string& text);
