#include "transport/worker_process.h"

#include <array>
#include <stdexcept>
#include <utility>

#include "platform/error.h"
#include "transport/exceptions.h"
#include "transport/waitable.h"

namespace {

constexpr auto kGrace = static_cast<platform::Milliseconds>(WorkerProcess::kGraceSeconds * 1000);

// The child's ends, which this process holds only until the child has them.
class ChildEnds {
  public:
    ChildEnds() noexcept = default;
    ChildEnds(const ChildEnds&) = delete;
    ChildEnds& operator=(const ChildEnds&) = delete;
    ~ChildEnds() {
        for (const platform::ChildChannel& channel : channels) {
            if (channel.end != platform::PipeHandle::None) platform::ClosePipe(channel.end);
        }
    }

    // Makes the channel that the mode asks for; the parent's end, or None without a pipe.
    platform::PipeHandle Open(std::size_t index, platform::ChannelMode mode,
                              platform::PipeDirection direction) {
        channels[index].mode = mode;
        if (mode != platform::ChannelMode::Pipe) return platform::PipeHandle::None;
        platform::PipeEnds ends;
        switch (platform::MakePipe(direction, ends)) {
            case platform::PipeResult::NoName:
                throw std::runtime_error("CoCreateGuid failure");
            case platform::PipeResult::NoPipe:
                throw std::runtime_error("pipe creation failure");
            case platform::PipeResult::Made:
                break;
        }
        channels[index].end = ends.child;
        return ends.parent;
    }

    std::array<platform::ChildChannel, 3> channels;
};

void CloseEvent(platform::EventHandle& event) noexcept {
    const platform::EventHandle closing = std::exchange(event, platform::EventHandle::None);
    if (closing != platform::EventHandle::None) platform::CloseSignal(closing);
}

void CloseStream(Qel::_streamOverlappedBase& stream) noexcept {
    const platform::PipeHandle closing = std::exchange(stream.handle, platform::PipeHandle::None);
    if (closing != platform::PipeHandle::None) platform::ClosePipe(closing);
}

}  // namespace

WorkerProcess::~WorkerProcess() {
    StopWhole();
}

void WorkerProcess::Start(const WorkerCommand& workerCommand) {
    StopWhole();
    for (Qel::_streamOverlappedBase* stream :
         std::initializer_list<Qel::_streamOverlappedBase*>{&stdoutStream, &stderrStream, &stdinStream}) {
        stream->timeoutSeconds = 0;
        stream->event = platform::CreateTransferSignal();
    }
    try {
        command = workerCommand;
        spareEvent = platform::CreateTransferSignal();
        Launch();
    } catch (...) {
        StopWhole();
        throw;
    }
}

void WorkerProcess::Launch() {
    Stop();
    ChildEnds child;
    using platform::PipeDirection;
    stdinStream.handle = child.Open(0, command.stdinMode, PipeDirection::ToChild);
    stdoutStream.handle = child.Open(1, command.stdoutMode, PipeDirection::FromChild);
    stderrStream.handle = child.Open(2, command.stderrMode, PipeDirection::FromChild);
    process = platform::StartProcess(
        {command.exe, command.args, command.rawCommandLine, command.workingDirectory, child.channels});
    if (process != platform::ProcessHandle::None) return;
    const std::uint32_t code = platform::LastError();
    if (code == platform::kErrorFileNotFound || code == platform::kErrorPathNotFound)
        throw Qel::file_not_found();
    if (code == platform::kErrorNoUnicodeTranslation)
        throw std::runtime_error(
            "a character in the path, or in that of the worker's folder, would change the worker's command "
            "line");
    throw WorkerStartFailure(platform::LastSystemError());
}

void WorkerProcess::Stop() noexcept {
    CloseStream(stdinStream);
    CloseStream(stdoutStream);
    CloseStream(stderrStream);
    if (process == platform::ProcessHandle::None) return;
    if (!platform::WaitForProcess(process, kGrace)) platform::KillProcess(process);
    platform::ReleaseProcess(std::exchange(process, platform::ProcessHandle::None));
}

void WorkerProcess::StopWhole() noexcept {
    Stop();
    CloseEvent(spareEvent);
    command = {};
    CloseEvent(stdinStream.event);
    CloseEvent(stderrStream.event);
    CloseEvent(stdoutStream.event);
}

void WorkerProcess::Terminate() noexcept {
    if (process != platform::ProcessHandle::None) platform::KillProcess(process);
}

void WorkerProcess::AwaitEnd(double timeoutSeconds) {
    if (process == platform::ProcessHandle::None || platform::WaitForProcess(process, 0)) return;
    Qel::waitable ended(platform::EndSignal(process));
    Qel::waitable* const objects[] = {&ended};
    Qel::WaitAny(objects, timeoutSeconds);
}

std::optional<std::int32_t> WorkerProcess::ExitCode() const noexcept {
    std::int32_t code = 0;
    if (process == platform::ProcessHandle::None || !platform::ExitCode(process, code)) return std::nullopt;
    return code;
}
