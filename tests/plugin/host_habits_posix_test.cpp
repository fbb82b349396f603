// Hosts with habits of their own: none of them may hang, leak, kill or confuse a decode.
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <thread>

#include "kit/plugin.h"
#include "kit/tools.h"

namespace {

// Runs `host` in a child process, which thus may do to itself what it likes. Its result is the exit code, 0
// for true.
void InOwnProcess(const char* habit, const std::function<bool()>& host) {
    const pid_t child = fork();
    if (child == 0) {
        bool good = false;
        try {
            good = host();
        } catch (...) {
        }
        _exit(good ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << habit << ": status " << status;
}

// Bytes of this process that lie in the machine's memory.
std::size_t MemoryInUse() {
    std::size_t whole = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> whole >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

class HostHabitsPosix : public testing::Test {
  protected:
    HostHabitsPosix() {
        kit::MakeAudio(file, 0.5, {"-ac", "2"});
        expected = kit::ReferenceSamples(kit::Utf8(file));
    }

    bool DecodesWith(const kit::Plugin& plugin) const {
        kit::TestDecoder decoder(plugin);
        return decoder.Open(file) && decoder.ReadAll() == expected && decoder.SetPosition(0) &&
               decoder.ReadAll() == expected && decoder.Close();
    }
    bool Decodes() const { return DecodesWith(kit::Plugin()); }

    const kit::TempFolder folder;
    const std::filesystem::path file = folder / "x.wav";
    std::string expected;
};

TEST_F(HostHabitsPosix, StandardDescriptorsClosed) {
    for (int lowest = 0; lowest < 3; ++lowest) {
        InOwnProcess("closed", [&] {
            for (int descriptor = lowest; descriptor < 3; ++descriptor) close(descriptor);
            const kit::Plugin plugin;
            kit::TestDecoder decoder(plugin);
            if (!decoder.Open(file)) return false;
            // A host that prints now must not reach a pipe of the worker's.
            for (int descriptor = lowest; descriptor < 3; ++descriptor) {
                struct stat status {};
                if (fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode)) return false;
            }
            return decoder.ReadAll() == expected;
        });
    }
}

TEST_F(HostHabitsPosix, ChildrenIgnoredOrReaped) {
    InOwnProcess("ignores SIGCHLD", [&] {
        signal(SIGCHLD, SIG_IGN);
        return Decodes();
    });
    InOwnProcess("reaps all children", [&] {
        std::atomic<bool> done = false;
        std::thread reaper([&] {
            while (!done) {
                if (waitpid(-1, nullptr, WNOHANG) <= 0) usleep(200);
            }
        });
        const bool good = Decodes();
        done = true;
        reaper.join();
        return good;
    });
}

TEST_F(HostHabitsPosix, SignalsIgnoredBlockedAndInterrupting) {
    InOwnProcess("blocks and ignores", [&] {
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, nullptr);
        signal(SIGPIPE, SIG_IGN);
        const kit::PluginWithWorker installed(STAND_IN_WORKER);
        kit::TestDecoder decoder(installed.plugin());
        if (!decoder.Open(u"report")) return false;
        const auto tags = decoder.Tags();
        return kit::ValueOf(tags, "signals").empty() && kit::ValueOf(tags, "descriptors") == "0 1 2 ";
    });
    InOwnProcess("interrupts", [&] {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        itimerval often{{0, 300}, {0, 300}};
        setitimer(ITIMER_REAL, &often, nullptr);
        return Decodes();
    });
}

TEST_F(HostHabitsPosix, DescriptorsThatAreNotCloseOnExecStayHere) {
    InOwnProcess("leaks", [&] {
        int leaked[2];
        if (pipe(leaked) != 0) return false;
        const kit::PluginWithWorker installed(STAND_IN_WORKER);
        kit::TestDecoder decoder(installed.plugin());
        return decoder.Open(u"report") && kit::ValueOf(decoder.Tags(), "descriptors") == "0 1 2 ";
    });
}

// A forked child holds copies of whatever was open at that moment, here for as long as the decodes go on.
TEST_F(HostHabitsPosix, ForksWithoutExec) {
    InOwnProcess("forks", [&] {
        // Made first: a program that a child still holds open for writing can't be started.
        const kit::PluginWithWorker installed(STAND_IN_WORKER);
        std::atomic<bool> done = false;
        std::thread forker([&] {
            std::vector<pid_t> children;
            while (!done && children.size() < 200) {
                const pid_t child = fork();
                if (child == 0) {
                    for (;;) pause();
                }
                children.push_back(child);
                usleep(2000);
            }
            while (!done) usleep(1000);
            for (const pid_t child : children) {
                kill(child, SIGKILL);
                waitpid(child, nullptr, 0);
            }
        });
        bool good = true;
        for (int round = 0; round < 30 && good; ++round) {
            kit::TestDecoder decoder(installed.plugin());
            good = decoder.Open(u"dies") && decoder.ReadAll().size() == 17384;
        }
        done = true;
        forker.join();
        return good;
    });
}

// Behind the dump nobody takes what a worker writes there, be it ever so much.
TEST_F(HostHabitsPosix, ErrorTextWithoutEndTakesNoMemory) {
    InOwnProcess("error text", [&] {
        constexpr std::size_t kFar = 0x4000000;  // half of what the lines take when they are kept
        const kit::PluginWithWorker installed(STAND_IN_WORKER);
        kit::TestDecoder decoder(installed.plugin());
        const std::size_t before = MemoryInUse();
        const auto small = [&] { return decoder.DecodeBlock() && MemoryInUse() < before + kFar; };
        return decoder.Open(u"chatters") && small() && decoder.SetPosition(1) && small();
    });
}

TEST_F(HostHabitsPosix, LogsWithoutAReaderDoNotKill) {
    InOwnProcess("log pipe closed", [&] {
        signal(SIGPIPE, SIG_DFL);
        int log[2];
        if (pipe(log) != 0) return false;
        close(log[0]);
        const auto word = static_cast<std::uint64_t>(log[1]);
        const DecoderCreateInfo create{word, 0, word};
        const kit::Plugin plugin;
        Decoder* decoder = plugin.Create(&create);
        plugin.Close(decoder);
        return plugin.Destroy(decoder) == 1;
    });
}

TEST_F(HostHabitsPosix, DescriptorsRunOut) {
    InOwnProcess("no descriptors", [&] {
        const kit::Plugin plugin;
        kit::TestDecoder decoder(plugin);
        const int handles = kit::OpenHandles();
        for (int spare = 0; spare < 8; ++spare) {
            const rlimit limit{static_cast<rlim_t>(handles + spare), 4096};
            setrlimit(RLIMIT_NOFILE, &limit);
            decoder.Open(file);
            decoder.Close();
        }
        const rlimit limit{1024, 4096};
        setrlimit(RLIMIT_NOFILE, &limit);
        return kit::OpenHandles() == handles && decoder.Open(file) && decoder.ReadAll() == expected;
    });
}

TEST_F(HostHabitsPosix, LoadedByARelativePathOrThroughALink) {
    std::filesystem::create_directory(folder / "decoders");
    const std::filesystem::path link = folder / "decoders" / "linked.so";
    std::filesystem::create_symlink(kit::BuiltPlugin(), link);
    std::filesystem::create_symlink(kit::FfmpegPath(), folder / "ffmpeg-lgpl.exe");
    InOwnProcess("through a link", [&] { return DecodesWith(kit::Plugin(link)); });
    InOwnProcess("relative", [&] {
        std::filesystem::current_path(folder / "decoders");
        const kit::Plugin plugin("./../decoders/linked.so");
        std::filesystem::current_path("/");
        return DecodesWith(plugin);
    });
}

TEST_F(HostHabitsPosix, AFifoIsAnInputButNoWait) {
    const std::filesystem::path fifo = folder / "fifo.tta";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const kit::PluginWithWorker installed(STAND_IN_WORKER);
    kit::TestDecoder decoder(installed.plugin());
    EXPECT_FALSE(decoder.Open(fifo)) << "the stand-in says nothing for it";
    EXPECT_NE(decoder.ErrorLog().find("(win:5)"), std::string::npos);

    const std::filesystem::path feed = folder / "feed.wav";
    ASSERT_EQ(mkfifo(feed.c_str(), 0600), 0);
    std::thread feeder([&] { kit::WriteFile(feed, kit::ReadFile(file)); });
    const kit::Plugin plugin;
    kit::TestDecoder reader(plugin);
    EXPECT_TRUE(reader.Open(feed)) << reader.ErrorLog();
    EXPECT_TRUE(reader.ReadAll() == expected);
    feeder.join();
}

// A host's older objects and handlers go after the plug-in's own would, and its threads go on meanwhile.
TEST_F(HostHabitsPosix, CallsWhileItExits) {
    const std::filesystem::path log = folder / "trace.log";
    for (const char* way : {"static", "atexit", "threads", "threads", "threads", "threads", "threads"}) {
        InOwnProcess(way, [&] {
            execl(EXITING_HOST, EXITING_HOST, kit::BuiltPlugin().c_str(), file.c_str(), way, log.c_str(),
                  nullptr);
            return false;
        });
    }
}

// The children that this process has now.
std::set<pid_t> Children() {
    std::set<pid_t> children;
    std::ifstream list("/proc/self/task/" + std::to_string(getpid()) + "/children");
    for (pid_t child = 0; list >> child;) children.insert(child);
    return children;
}

// A worker that writes notices by itself that nobody reads any more; a silent one has to be ended. What the
// host forked may live on.
TEST_F(HostHabitsPosix, KilledWithASilentWorker) {
    const kit::PluginWithWorker installed(STAND_IN_WORKER);
    int helperEnds[2];
    ASSERT_EQ(pipe(helperEnds), 0);
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0) << "what the host leaves behind becomes this process's";
    const pid_t host = fork();
    if (host == 0) {
        close(helperEnds[1]);
        kit::TestDecoder decoder(installed.plugin());
        if (!decoder.Open(u"silent-after-header")) _exit(1);
        if (fork() == 0) {
            char byte = 0;
            _exit(read(helperEnds[0], &byte, 1) == 0 ? 0 : 1);
        }
        kill(getpid(), SIGKILL);
    }
    close(helperEnds[0]);
    int status = 0;
    waitpid(host, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "the worker wasn't opened";
    pid_t ended = 0;
    for (int tries = 0; ended == 0 && tries < 60000; ++tries) {
        ended = waitpid(-1, &status, WNOHANG);
        if (ended == 0) usleep(1000);
    }
    EXPECT_GT(ended, 0) << "the worker lives on";
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    close(helperEnds[1]);
    if (ended <= 0) {
        for (const pid_t child : Children()) kill(child, SIGKILL);
    }
    while (waitpid(-1, &status, 0) > 0) {
    }
    prctl(PR_SET_CHILD_SUBREAPER, 0);
}

// A thread that plays audio may be a real-time one and bound to a processor; the worker is neither.
TEST_F(HostHabitsPosix, WorkerOfASpecialThreadIsScheduledAsUsual) {
    cpu_set_t all;
    ASSERT_EQ(sched_getaffinity(0, sizeof all, &all), 0);
    if (CPU_COUNT(&all) < 2) GTEST_SKIP() << "one processor is all that there is";
    InOwnProcess("special", [&] {
        const kit::PluginWithWorker installed(STAND_IN_WORKER);
        bool good = false;
        std::thread special([&] {
            int first = 0;
            while (!CPU_ISSET(first, &all)) ++first;
            cpu_set_t one;
            CPU_ZERO(&one);
            CPU_SET(first, &one);
            sched_setaffinity(0, sizeof one, &one);
            const sched_param urgent{1};
            // Not every user may; then the class stays the one that the tests run in.
            const bool realTime = pthread_setschedparam(pthread_self(), SCHED_FIFO, &urgent) == 0;
            const int usual = realTime ? SCHED_OTHER : sched_getscheduler(0);
            kit::TestDecoder decoder(installed.plugin());
            if (!decoder.Open(u"report")) return;
            const auto tags = decoder.Tags();
            good = kit::ValueOf(tags, "scheduling") == std::to_string(usual) &&
                   kit::ValueOf(tags, "processors") == std::to_string(CPU_COUNT(&all)) &&
                   sched_getaffinity(0, sizeof one, &one) == 0 && CPU_COUNT(&one) == 1;
        });
        special.join();
        return good;
    });
}

TEST_F(HostHabitsPosix, UnloadsAndLoadsAgain) {
    const auto loaded = [] {
        return kit::ReadFile("/proc/self/maps").find(kit::BuiltPlugin().filename()) != std::string::npos;
    };
    for (int round = 0; round < 3; ++round) {
        EXPECT_TRUE(Decodes());
        EXPECT_FALSE(loaded()) << "something keeps the library from going";
    }
}

}  // namespace
