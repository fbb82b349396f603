#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "kit/files.h"
#include "kit/system.h"
#include "kit/tools.h"
#include "transport/worker_process.h"

namespace {

WorkerCommand Child(const std::string& task, const std::string& argument = {}) {
    WorkerCommand command;
    command.exe = TRANSPORT_CHILD;
    command.args = {"child", task, argument};
    command.stdoutMode = platform::ChannelMode::Pipe;
    command.stderrMode = platform::ChannelMode::Pipe;
    return command;
}

// A helper that the host forks and that lives on has no copy of the end by which a worker sees that nobody
// reads any more.
TEST(WorkerProcessPosix, IsNotKeptByAForkedChild) {
    const kit::TempFolder folder;
    const std::filesystem::path ended = folder / "ended";
    WorkerProcess worker;
    worker.Start(Child("write", kit::Utf8(ended)));
    const pid_t helper = fork();
    if (helper == 0) {
        for (;;) pause();
    }
    worker.Stop();
    EXPECT_TRUE(std::filesystem::exists(ended)) << "ended by force";
    kill(helper, SIGKILL);
    waitpid(helper, nullptr, 0);
}

TEST(WorkerProcessPosix, LeavesNoZombieWithoutPoll) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    WorkerProcess worker;
    worker.Start(Child("hang"));
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0) << "poll then fails for a single descriptor";
    worker.StopWhole();
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(waitpid(-1, nullptr, 0), -1) << "the child was left";
}

}  // namespace
