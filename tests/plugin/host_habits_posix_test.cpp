// Hosts with habits of their own: none of them may hang, leak, kill or confuse a decode.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
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
