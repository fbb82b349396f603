#include "codecs/decoders/ffmpeg/stderr_lines.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "codecs/decoders/ffmpeg/stderr_dump.h"
#include "platform/file.h"
#include "transport/exceptions.h"

namespace {

constexpr double kPatience = 60;  // far beyond what anything here takes

using Lines = std::vector<std::string>;

// The error channel of a worker that this process plays itself.
class StdErrLines : public testing::Test {
  protected:
    StdErrLines() {
        EXPECT_EQ(platform::MakePipe(platform::PipeDirection::FromChild, ends), platform::PipeResult::Made);
        stream.handle = ends.parent;
        stream.event = platform::CreateTransferSignal();
    }
    ~StdErrLines() override {
        End();
        platform::ClosePipe(stream.handle);
        if (stream.event != platform::EventHandle::None) platform::CloseSignal(stream.event);
    }
    void Write(const std::string& text) {
        platform::WriteToLog(static_cast<std::uint64_t>(ends.child), text.data(), text.size());
    }
    void End() {
        if (ends.child != platform::PipeHandle::None) platform::ClosePipe(ends.child);
        ends.child = platform::PipeHandle::None;
    }

    platform::PipeEnds ends;
    Qel::streamInOverlapped stream;
};

std::string Repeated(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
}

TEST_F(StdErrLines, AreReadOneByOne) {
    Write("a\r1\r\n\nno end");
    End();
    EXPECT_EQ(ReadLine(stream), "a1");
    EXPECT_EQ(ReadLine(stream), "");
    EXPECT_THROW(ReadLine(stream), Qel::invalid_input);
}

// A parse that comes late, or never, finds what it needs and little else.
TEST_F(StdErrLines, OutsideTheDumpAreQueuedInPartOnly) {
    constexpr std::size_t kMost = StdErrLineQueue::kSpareBytes / sizeof(std::string) + 1;
    constexpr std::size_t kDumpLines = 100000;
    StdErrLineQueue queue(stream);
    Write("a\r\n\nb\n");
    Lines first;
    while (first.size() < 3) {
        for (std::string& line : queue.TakeLines(kPatience)) first.push_back(std::move(line));
    }
    EXPECT_EQ(first, (Lines{"a", "", "b"}));

    const std::string noise = Repeated("noise\n", 3 * kMost);
    Write(noise + "Input #0, x:\n" + Repeated("  x: y\n", kDumpLines) + "end\n" + noise + "last\n");
    End();
    EXPECT_TRUE(queue.Tail(kPatience).ends_with("noise\nlast\n"));
    const Lines lines = queue.TakeLines(kPatience);
    ASSERT_GT(lines.size(), kDumpLines + 2);
    EXPECT_LE(lines.size(), kDumpLines + 2 + kMost);
    EXPECT_EQ(lines[lines.size() - kDumpLines - 2], "Input #0, x:");
    EXPECT_EQ(lines.back(), "end");
    EXPECT_EQ(queue.TakeLines(0), Lines{});
}

TEST_F(StdErrLines, TailIsWhatStandsBehindTheDumpWithoutProgress) {
    StdErrLineQueue queue(stream);
    Write(
        "banner\nInput #0, x:\n  Metadata:\nStream mapping:\n  Stream #0:0\n"
        "size=  1kB\rsize=  2kB\r[x @ 0] broken\r\n"
        "frame=  1\rframe=  2\r\nsize=  3kB\nmore\n"
        "no end of a line");
    End();
    EXPECT_EQ(queue.Tail(kPatience), "Stream mapping:\n  Stream #0:0\n[x @ 0] broken\nmore\n");
}

TEST(StdErrTail, HoldsTheLastWholeLines) {
    StdErrTail tail;
    EXPECT_EQ(tail.Text(), "");
    for (int i = 0; i < 10000; ++i) tail.Add("line " + std::to_string(i));
    const std::string text = tail.Text();
    EXPECT_LE(text.size(), StdErrTail::kBytes);
    EXPECT_GT(text.size(), StdErrTail::kBytes - 10) << "one more line would have had room";
    EXPECT_TRUE(text.starts_with("line 9591") && text.ends_with("line 9999\n")) << text;

    tail.Add(std::string(StdErrTail::kBytes - 1, 'x'));
    EXPECT_EQ(tail.Text(), std::string(StdErrTail::kBytes - 1, 'x') + "\n")
        << "exactly as much as there is room for";
    tail.Add("y");
    EXPECT_EQ(tail.Text(), "y\n");
    tail.Add(std::string(0x10000, 'x') + "the end");
    EXPECT_EQ(tail.Text().size(), StdErrTail::kBytes);
    EXPECT_TRUE(tail.Text().ends_with("xthe end\n"));
}

// What is decoded of several streams is told behind the dump, maybe much later.
TEST_F(StdErrLines, AreAwaitedForTheStreamThatIsDecoded) {
    StdErrLineQueue queue(stream);
    Write(
        "Input #0, x:\n  Duration: N/A\n  Stream #0:0: Audio: a\n  Stream #0:1: Audio: b\nStream mapping:\n");
    StdErrParse parse;
    ParseStdErr(queue, parse);
    Write("  Stream #0:1 -> #0:0 (x (native) -> y (native))\n");
    const StdErrStream* decoded = DecodedStream(queue, parse, -1);
    ASSERT_NE(decoded, nullptr);
    EXPECT_EQ(decoded->number, 1U);
}

}  // namespace
