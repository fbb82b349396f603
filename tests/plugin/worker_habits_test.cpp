#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "kit/plugin.h"

namespace {

using Clock = std::chrono::steady_clock;

// Workers that behave badly, each in its own way.
class WorkerHabits : public testing::Test {
  protected:
    static std::size_t Bytes(kit::TestDecoder& decoder) { return decoder.ReadAll().size(); }

    kit::PluginWithWorker installed{STAND_IN_WORKER};
    kit::TestDecoder decoder{installed.plugin()};
};

TEST_F(WorkerHabits, StartedWithTheRightArguments) {
    ASSERT_TRUE(decoder.Open(u"C:\\a b\\'q' $HOME %PATH%\\report")) << decoder.ErrorLog();
    auto tags = decoder.Tags();
    std::string line;
    for (int i = 0; i <= 5; ++i) line += kit::ValueOf(tags, "arg" + std::to_string(i)) + "|";
    EXPECT_EQ(line, "ffmpeg-lgpl.exe|-i|C:\\a b\\'q' $HOME %PATH%\\report|-f|w64|-|");
    EXPECT_EQ(kit::ValueOf(tags, "arg6"), "");
    EXPECT_EQ(kit::ValueOf(tags, "stdin"), "end");
}

TEST_F(WorkerHabits, BrokenHeadersFailAtOnce) {
    for (const char16_t* habit : {u"riff", u"wave", u"small-chunk", u"small-format", u"large-format",
                                  u"endless-chunk", u"no-format", u"cut", u"nothing"}) {
        kit::TestDecoder fresh(installed.plugin());
        EXPECT_FALSE(fresh.Open(u"http://x/" + std::u16string(habit)));
        EXPECT_EQ(fresh.ErrorLog(), "File could not be decoded  [clDecoder_ffmpeg::SetPosition]\r\n");
    }
}

TEST_F(WorkerHabits, SlowFiniteDyingAndFloodingStreamsArrive) {
    struct Case {
        const char16_t* habit;
        std::size_t bytes;
    };
    for (const Case& c : {Case{u"dribble", 16384}, Case{u"dies", 17384}, Case{u"floods", 32768}}) {
        kit::TestDecoder fresh(installed.plugin());
        ASSERT_TRUE(fresh.Open(c.habit)) << fresh.ErrorLog();
        EXPECT_EQ(fresh.info.format.durationMs, 1500);
        EXPECT_EQ(fresh.info.format.bitrate, 64000U);
        EXPECT_EQ(fresh.info.format.wave.averageBytesPerSecond, 176400U);
        EXPECT_EQ(Bytes(fresh), c.bytes);
    }
    ASSERT_TRUE(decoder.Open(u"finite"));
    ASSERT_TRUE(decoder.DecodeBlock());
    EXPECT_EQ(decoder.block.bytes, 1000U) << "what the data chunk declares";
    EXPECT_EQ(decoder.block.endOfStream, 0);
    ASSERT_TRUE(decoder.DecodeBlock());
    EXPECT_EQ(decoder.block.bytes, 0U);
    EXPECT_EQ(decoder.block.endOfStream, 0);
}

TEST_F(WorkerHabits, EndlessLinesAndEndlessDumpsEndTheParse) {
    ASSERT_TRUE(decoder.Open(u"endless-line")) << decoder.ErrorLog();
    EXPECT_EQ(decoder.info.format.durationMs, 1500);
    EXPECT_EQ(Bytes(decoder), 16384U);
    const auto start = Clock::now();
    ASSERT_TRUE(decoder.Open(u"no-dump-end")) << decoder.ErrorLog();
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(5)) << "five seconds without a line are the end";
    EXPECT_EQ(decoder.info.format.durationMs, 1500);
}

TEST_F(WorkerHabits, WhoIgnoresTheClosedPipeIsTerminated) {
    ASSERT_TRUE(decoder.Open(u"ignores-close"));
    ASSERT_TRUE(decoder.DecodeBlock());
    const auto closing = Clock::now();
    EXPECT_TRUE(decoder.Close());
    EXPECT_GE(Clock::now() - closing, std::chrono::milliseconds(2000)) << "the grace time";

    const kit::TempFolder folder;
    ASSERT_TRUE(decoder.Open(folder / "takes-leave"));
    decoder.Destroy();
    EXPECT_FALSE(std::filesystem::exists(folder / "left")) << "Destroy gives no grace";
}

TEST_F(WorkerHabits, ManyRoundsLeaveNothingBehind) {
    int handles = 0;
    int threads = 0;
    for (int round = 0; round < 500; ++round) {
        // The first rounds may set up what stays for the process.
        if (round == 2) {
            handles = kit::OpenHandles();
            threads = kit::RunningThreads();
        }
        ASSERT_TRUE(decoder.Open(u"never-ends")) << decoder.ErrorLog();
        ASSERT_TRUE(decoder.DecodeBlock());
        ASSERT_TRUE(decoder.SetPosition(44100)) << decoder.ErrorLog();
        ASSERT_TRUE(decoder.DecodeBlock());
        ASSERT_TRUE(decoder.Close());
    }
    EXPECT_EQ(kit::OpenHandles(), handles);
    EXPECT_EQ(kit::RunningThreads(), threads);
    EXPECT_FALSE(kit::HasChildren()) << "a worker or its zombie was left";
}

}  // namespace
