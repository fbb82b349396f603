// A child process with its standard channels as streams.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/process.h"
#include "transport/streams.h"

// What a worker is started with. Text is UTF-8.
struct WorkerCommand {
    std::string exe;                // full path
    std::vector<std::string> args;  // the program's own name first
    std::string rawCommandLine;     // when not empty, in place of the line made of args
    std::string workingDirectory;   // empty: the host's
    platform::ChannelMode stdinMode = platform::ChannelMode::None;
    platform::ChannelMode stdoutMode = platform::ChannelMode::None;
    platform::ChannelMode stderrMode = platform::ChannelMode::None;
};

// The program is there but doesn't start.
struct WorkerStartFailure : std::runtime_error {
    explicit WorkerStartFailure(std::uint32_t code)
        : std::runtime_error("could not start the worker process"), systemError(code) {}

    std::uint32_t systemError;  // the system's own number for the cause; 0 when it gave none
};

// Knows nothing of audio. One thread at a time, except that another one may read stderrStream; it has to be
// gone before Stop.
class WorkerProcess {
  public:
    WorkerProcess() noexcept = default;
    WorkerProcess(const WorkerProcess&) = delete;
    WorkerProcess& operator=(const WorkerProcess&) = delete;
    ~WorkerProcess();

    static constexpr double kGraceSeconds = 2.0;  // that Stop gives a worker to end by itself

    // Stops what runs and starts the command. Raises file_not_found for a program that isn't there,
    // WorkerStartFailure for one that doesn't start and std::runtime_error for any other failure, a text that
    // the system would take for a program or for arguments that nobody meant among them; nothing is left open
    // then.
    void Start(const WorkerCommand& workerCommand);

    // Closes the pipes, which tells a worker that still writes to end, and terminates one that hasn't ended
    // after 2 seconds.
    void Stop() noexcept;

    // Stop, and gives back the events and the command as well.
    void StopWhole() noexcept;

    // Waits until the worker has ended, but no longer than the time limit. A set aborter raises user_abort.
    void AwaitEnd(double timeoutSeconds);

    // The exit code of a worker that has ended and wasn't stopped, as platform::ExitCode gives it; none while
    // it runs and where it can't be known.
    std::optional<std::int32_t> ExitCode() const noexcept;

    // Ends a running worker at once; Stop then has nothing to wait for.
    void Terminate() noexcept;

    // The parent's ends of the child's channels.
    Qel::streamInOverlapped stdoutStream;
    Qel::streamInOverlapped stderrStream;
    Qel::streamOutOverlapped stdinStream;

  private:
    void Launch();

    platform::ProcessHandle process = platform::ProcessHandle::None;
    platform::EventHandle spareEvent = platform::EventHandle::None;  // comes and goes with a worker, unused
    WorkerCommand command;
};
