// Decoders and the process that they live in: threads, rounds without end, the library's end and the
// process's.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

#include "host/contract/rules.h"
#include "host/system/shared_event.h"
#include "host/system/usage.h"

namespace host::contract {

namespace {

constexpr std::size_t kFrames = 3 * kBlockFrames;

// What numbers may grow by where nothing is left behind: tables that are filled at their first use, and what
// an allocator or the system keeps at hand.
struct Slack {
    std::size_t handles = 4;
    std::size_t threads = 2;
    std::int64_t heap = 64 << 10;
    std::int64_t heapPerRound = 64;
    std::int64_t memory = 4 << 20;
    std::int64_t memoryPerRound = 2048;
};

void Round(Bench& bench, const std::filesystem::path& sound, const system::SharedEvent& event,
           unsigned number) {
    Subject subject(bench);
    bench.Require(subject.SetText(DECODER_SET_EVENT_QUIT, event.name().c_str()), "Set \"EventQuit\" gave 0");
    subject.MustOpen(sound, DECODER_OPEN_TAGS | DECODER_OPEN_INFO);
    subject.MustDecode();
    // By turns to the end, closed or not, seeked or not.
    if (number % 4 == 1) subject.MustSeek(kBlockFrames);
    if (number % 4 == 2) subject.ReadAll();
    if (number % 2 == 0) subject.Close();
}

void RequireNoGrowth(Bench& bench, const system::Usage& before, const system::Usage& after, unsigned rounds,
                     const Slack& slack) {
    const auto require = [&](const char* what, auto from, auto to, auto most) {
        if (to <= from + most) return;
        bench.Break(std::string(what) + " grew from " + std::to_string(from) + " to " + std::to_string(to) +
                    " in " + std::to_string(rounds) + " rounds");
    };
    require("open handles", before.handles, after.handles, slack.handles);
    require("threads", before.threads, after.threads, slack.threads);
    require("the bytes of the heap", before.heap, after.heap, slack.heap + rounds * slack.heapPerRound);
    require("the bytes of memory", before.memory, after.memory, slack.memory + rounds * slack.memoryPerRound);
}

// What the handler of the process's end needs, which no argument reaches.
struct ExitJob {
    Bench* bench = nullptr;
    Subject* subject = nullptr;
} exitJob;

void WorkInExit() {
    if (exitJob.subject == nullptr) return;
    Subject& subject = *exitJob.subject;
    subject.MustDecode();
    subject.MustSeek(kBlockFrames);
    subject.RequireSamples(subject.ReadAll(), kBlockFrames, kFrames - kBlockFrames,
                           "while the process exits");
    subject.Close();
    subject.Destroy();
    exitJob.bench->Step("ending the process");
    exitJob.bench->Keep();
}

}  // namespace

void CheckThreads(Bench& bench) {
    constexpr int kThreads = 4;
    const std::filesystem::path sound = bench.MakeSound(kFrames);
    {
        // By turns first, where faults are sure to show.
        Subject one(bench);
        Subject two(bench);
        one.MustOpen(sound);
        one.MustDecode();
        two.MustOpen(sound);
        two.MustSeek(5000);
        one.MustDecode();
        one.RequireSamples(one.BlockBytes(), kBlockFrames, kBlockFrames, "beside another decoder");
        two.MustDecode();
        two.RequireSamples(two.BlockBytes(), 5000, kBlockFrames, "beside another decoder");
        one.Destroy();
        two.RequireSamples(two.ReadAll(), 5000 + kBlockFrames, kFrames - 5000 - kBlockFrames,
                           "after another decoder's end");
    }
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int index = 0; index < kThreads; ++index) {
        threads.emplace_back([&] {
            for (int run = 0; run < 2; ++run) {
                Subject subject(bench);
                subject.MustOpen(sound, DECODER_OPEN_TAGS | DECODER_OPEN_INFO);
                subject.RequireSamples(subject.ReadAll(), 0, kFrames, "in one of several threads");
            }
        });
    }
    for (std::thread& thread : threads) thread.join();

    Subject handed(bench);
    const auto inAnotherThread = [](auto call) { std::thread(call).join(); };
    inAnotherThread([&] { handed.MustOpen(sound); });
    inAnotherThread([&] { handed.MustDecode(); });
    inAnotherThread([&] { handed.MustSeek(kBlockFrames); });
    std::string bytes;
    inAnotherThread([&] { bytes = handed.ReadAll(); });
    handed.RequireSamples(bytes, kBlockFrames, kFrames - kBlockFrames, "from thread to thread");
    inAnotherThread([&] { handed.Destroy(); });
}

void CheckRounds(Bench& bench) {
    const std::filesystem::path sound = bench.MakeSound(kFrames);
    const system::SharedEvent event(bench.folder());
    // The first ones may set up what stays for the process.
    const unsigned warmUp = std::clamp(bench.rounds() / 10, 4u, 100u);
    for (unsigned round = 0; round < warmUp; ++round) Round(bench, sound, event, round);
    const system::Usage before = system::CurrentUsage();
    for (unsigned round = 0; round < bench.rounds(); ++round) Round(bench, sound, event, round);
    RequireNoGrowth(bench, before, system::CurrentUsage(), bench.rounds(), {});
}

void CheckUnloading(Bench& bench) {
    constexpr int kLoads = 8;
    const std::filesystem::path sound = bench.MakeSound(kFrames);
    const auto loadAndWork = [&] {
        {
            Subject subject(bench);
            subject.MustOpen(sound);
            subject.MustDecode();
        }
        bench.Step("unloading the library");
        bench.Unload();
    };
    loadAndWork();
    const system::Usage before = system::CurrentUsage();
    for (int load = 0; load < kLoads; ++load) loadAndWork();
    const system::Usage after = system::CurrentUsage();
    // The loader and a runtime in the library may keep something for the process, but not at every load.
    RequireNoGrowth(bench, before, after, kLoads, {.handles = kLoads - 1, .threads = 0});
    bench.Step("going on after the library was unloaded");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

void CheckExit(Bench& bench) {
    // Registered before the library is loaded, and so called when its static objects may be gone.
    std::atexit(WorkInExit);
    const std::filesystem::path sound = bench.MakeSound(kFrames);
    auto subject = std::make_unique<Subject>(bench);
    subject->MustOpen(sound);
    subject->MustDecode();
    exitJob = {&bench, subject.release()};
}

}  // namespace host::contract
