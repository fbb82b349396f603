#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "kit/plugin.h"
#include "kit/tools.h"

namespace {

TEST(SideBySide, ManyDecodersInManyThreads) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    kit::MakeAudio(folder / "x.wav", 1, {"-ac", "2"});
    const std::string input = kit::Utf8(folder / "x.wav");
    const std::string whole = kit::ReferenceSamples(input);
    const std::string half = kit::ReferenceSamples(input, "0.5");
    std::atomic<int> right = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 32; ++i) {
        threads.emplace_back([&] {
            kit::TestDecoder decoder(plugin);
            if (!decoder.Open(folder / "x.wav") || decoder.ReadAll() != whole) return;
            if (!decoder.SetPosition(22050) || decoder.ReadAll() != half || !decoder.Close()) return;
            ++right;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(right, 32);
}

// Were the pipe ends of one worker inherited by another, closing the first decoder would leave its worker
// writing until it is terminated, and a stream would not end before the other worker does.
TEST(SideBySide, ClosingOneDoesNotWaitForAnother) {
    const kit::PluginWithWorker installed(STAND_IN_WORKER);
    kit::TestDecoder first(installed.plugin());
    kit::TestDecoder second(installed.plugin());
    ASSERT_TRUE(first.Open(u"dies"));
    ASSERT_TRUE(second.Open(u"silent-after-header"));
    EXPECT_EQ(first.ReadAll().size(), 17384U) << "the end of the first came through";
    const kit::TempFolder folder;
    ASSERT_TRUE(first.Open(folder / "takes-leave"));
    kit::TestDecoder third(installed.plugin());
    ASSERT_TRUE(third.Open(u"silent-after-header"));
    EXPECT_TRUE(first.Close());
    EXPECT_TRUE(std::filesystem::exists(folder / "left")) << "the first worker had to be terminated";
}

}  // namespace
