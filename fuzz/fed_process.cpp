#include "fed_process.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "fuzzing.h"
#include "platform/error.h"
#include "platform/process.h"

namespace {

FedWorker fed;

constexpr auto kWorker = static_cast<platform::ProcessHandle>(1);

// The parent's reader sees the end once the caller has closed the child's end.
void Print(const platform::ChildChannel& channel, const std::string& text) {
    if (channel.mode != platform::ChannelMode::Pipe) return;
    const std::size_t count = std::min(text.size(), platform::kPipeBytes);
    const ssize_t written = write(static_cast<int>(channel.end), text.data() + text.size() - count, count);
    Require(written == static_cast<ssize_t>(count));
}

}  // namespace

void FeedWorkers(FedWorker worker) {
    fed = std::move(worker);
}

namespace platform {

ProcessHandle StartProcess(const ProcessStart& start) {
    if (!fed.starts) {
        SetLastError(kErrorFileNotFound);
        return ProcessHandle::None;
    }
    Print(start.channels[STDOUT_FILENO], fed.output);
    Print(start.channels[STDERR_FILENO], fed.error);
    return kWorker;
}

bool WaitForProcess(ProcessHandle, Milliseconds) noexcept {
    return true;
}

EventHandle EndSignal(ProcessHandle) noexcept {
    return EventHandle::None;
}

bool ExitCode(ProcessHandle, std::int32_t& code) noexcept {
    code = fed.exitCode;
    return true;
}

void KillProcess(ProcessHandle) noexcept {}

void ReleaseProcess(ProcessHandle) noexcept {}

}  // namespace platform
