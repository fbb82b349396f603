#include "transport/worker_process.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "kit/files.h"
#include "kit/system.h"
#include "kit/tools.h"
#include "transport/exceptions.h"

namespace {

constexpr double kPatience = 60;  // far beyond what anything here takes
constexpr auto kPipe = platform::ChannelMode::Pipe;

WorkerCommand Child(std::vector<std::string> arguments) {
    WorkerCommand command;
    command.exe = TRANSPORT_CHILD;
    command.args = std::move(arguments);
    command.args.insert(command.args.begin(), "child");
    command.stdoutMode = kPipe;
    command.stderrMode = kPipe;
    return command;
}

std::string ReadToEnd(Qel::streamInOverlapped& stream) {
    stream.timeoutSeconds = kPatience;
    std::string bytes(1000, '\0');
    bytes.resize(stream.read(bytes.data(), bytes.size()));
    return bytes;
}

// Two separate pipes, no input that a worker could wait for, arguments that arrive one by one.
TEST(WorkerProcess, HandsOverArgumentsAndChannels) {
    WorkerProcess worker;
    worker.Start(Child({"show", "plain", "with two blanks", "C:\\a b\\c", "-"}));
    EXPECT_EQ(ReadToEnd(worker.stdoutStream), "child|show|plain|with two blanks|C:\\a b\\c|-|no input");
    EXPECT_EQ(ReadToEnd(worker.stderrStream), "error text");
    worker.Stop();
    worker.Stop();
    worker.Start(Child({"hang"}));
    EXPECT_EQ(worker.stdoutStream.timeoutSeconds, 0) << "left from the worker before";
    worker.Terminate();

    WorkerCommand copy = Child({"copy"});
    copy.stdinMode = kPipe;
    copy.stderrMode = platform::ChannelMode::None;
    worker.Start(copy);
    worker.stdinStream.write("through", 7);
    platform::ClosePipe(worker.stdinStream.handle);
    worker.stdinStream.handle = platform::PipeHandle::None;
    EXPECT_EQ(ReadToEnd(worker.stdoutStream), "through");
    worker.Stop();

    const kit::TempFolder folder;
    WorkerCommand elsewhere = Child({"folder"});
    elsewhere.workingDirectory = kit::Utf8(folder.path());
    worker.Start(elsewhere);
    EXPECT_TRUE(std::filesystem::equivalent(ReadToEnd(worker.stdoutStream), folder.path()));
}

TEST(WorkerProcess, TellsAMissingProgramFromOneThatDoesntStart) {
    const kit::TempFolder folder;
    const int before = kit::OpenHandles();
    WorkerProcess worker;
    WorkerCommand command = Child({});
    command.exe = kit::Utf8(folder / "nothing here");
    EXPECT_THROW(worker.Start(command), Qel::file_not_found);
    command.exe = kit::Utf8(folder / "no folder" / "nothing here");
    EXPECT_THROW(worker.Start(command), Qel::file_not_found);
    command.exe = kit::Utf8(folder.path());
    try {
        worker.Start(command);
        ADD_FAILURE() << "a folder was started";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "could not start the worker process");
    }
    EXPECT_EQ(kit::OpenHandles(), before) << "a failed start left something open";
}

// A worker that holds another one's pipe keeps it from seeing that nobody listens any more.
TEST(WorkerProcess, IsNotKeptByAnotherWorker) {
    const kit::TempFolder folder;
    const std::filesystem::path ended = folder / "ended";
    WorkerProcess writer;
    WorkerProcess other;
    writer.Start(Child({"write", kit::Utf8(ended)}));
    other.Start(Child({"hang"}));
    // Without Stop, which would end it by force after a while.
    platform::ClosePipe(std::exchange(writer.stdoutStream.handle, platform::PipeHandle::None));
    writer.AwaitEnd(kPatience);
    EXPECT_TRUE(std::filesystem::exists(ended));
    other.Terminate();
}

// While one thread has the child's ends open, another thread's worker must not get them: their end would only
// come with its own.
TEST(WorkerProcess, StartsBesideOthers) {
    constexpr int kRounds = 12;
    std::vector<WorkerProcess> lasting(kRounds);
    std::thread starter([&] {
        for (WorkerProcess& worker : lasting) worker.Start(Child({"hang"}));
    });
    for (int i = 0; i < kRounds && !HasFailure(); ++i) {
        WorkerProcess worker;
        worker.Start(Child({"show"}));
        EXPECT_EQ(ReadToEnd(worker.stdoutStream), "child|show|no input");
    }
    starter.join();
    for (WorkerProcess& worker : lasting) worker.Terminate();
}

TEST(WorkerProcess, TerminatesOneThatDoesntEnd) {
    const platform::ProcessStart start{TRANSPORT_CHILD, {"child", "hang"}, {}, {}, {}};
    const platform::ProcessHandle process = platform::StartProcess(start);
    ASSERT_NE(process, platform::ProcessHandle::None);
    EXPECT_FALSE(platform::WaitForProcess(process, 100));
    platform::KillProcess(process);
    EXPECT_TRUE(platform::WaitForProcess(process, platform::kForever));
    platform::ReleaseProcess(process);

    WorkerProcess worker;
    worker.Start(Child({"hang"}));
    worker.Stop();
    worker.Start(Child({"hang"}));
    worker.Terminate();
    EXPECT_EQ(ReadToEnd(worker.stdoutStream), "") << "the child lives on";
}

TEST(WorkerProcess, LeaksNothingOver500Rounds) {
    WorkerCommand command = Child({"show"});
    command.stdinMode = kPipe;
    WorkerProcess worker;
    int before = 0;
    for (int round = 0; round <= 500; ++round) {
        worker.Start(command);
        worker.StopWhole();
        // The first rounds may set up what stays for the process.
        if (round == 10) before = kit::OpenHandles();
    }
    EXPECT_EQ(kit::OpenHandles(), before);
    EXPECT_FALSE(kit::HasChildren()) << "a child or its zombie was left";
}

}  // namespace
