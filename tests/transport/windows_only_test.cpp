#include <gtest/gtest.h>

#include <array>
#include <string>

#include "platform/file.h"
#include "platform/windows/from_utf8.h"
#include "transport/worker_process.h"

namespace {

TEST(WindowsFromUtf8, EndsAtWhatItCannotRead) {
    const std::pair<std::string, std::u16string> cases[] = {
        {"", u""},
        {"a\xC3\xA4\xE2\x82\xAC", u"a\u00E4\u20AC"},
        {std::string("ab\0c", 4), u"ab"},
        {"a\xF0\x9F\x8E\xB5z", u"a\uF3B5z"},                        // the upper bits are lost
        {"a\xED\xA0\x80z", std::u16string{u'a', 0xD800, u'z'}},     // half a surrogate pair
        {"a\xF8\x88\x80\x80\x80z", std::u16string{u'a', 0, u'z'}},  // five bytes
        {"a\xFC\x84\x80\x80\x81\x82z", u"a\u0042z"},                // six bytes
        {"a\x80z", u"a"},                                           // a continuation byte in front
        {"a\xFEz", u"a"},
        {"a\xC3", u"a"},   // cut
        {"a\xC3z", u"a"},  // no continuation byte
        {"a\xC0\x80z", u"a"},
        {"a\xC1\xBFz", u"a"},
        {"a\xE0\x9F\xBFz", u"a"},  // overlong
        {"a\xF0\x8F\xBF\xBFz", u"a"},
        {"a\xF8\x87\xBF\xBF\xBFz", u"a"},
        {"a\xFC\x83\xBF\xBF\xBF\xBFz", u"a"},
    };
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(platform::windows::FromUtf8(bytes), text) << testing::PrintToString(bytes);
    }
}

TEST(WindowsPaths, GetThePrefixThatLiftsTheLimit) {
    const std::u16string shortEnough(259, u'a');
    const std::u16string longer(260, u'a');
    EXPECT_EQ(platform::WithoutLengthLimit(shortEnough), shortEnough);
    EXPECT_EQ(platform::WithoutLengthLimit(longer), u"\\\\?\\" + longer);
    EXPECT_EQ(platform::WithoutLengthLimit(u"\\\\" + longer), u"\\\\" + longer);
}

// A killed host can't stop its worker, and a worker that is silent doesn't notice the closed pipe. Both hold
// the output that is read here, and the host is in a job itself: that of this test's worker.
TEST(WindowsWorker, EndsWithItsHost) {
    WorkerCommand command;
    command.exe = TRANSPORT_CHILD;
    command.args = {"child", "parent", TRANSPORT_CHILD};
    command.stdoutMode = platform::ChannelMode::Pipe;
    WorkerProcess host;
    host.Start(command);
    host.stdoutStream.timeoutSeconds = 60;
    std::array<char, 100> output;
    EXPECT_EQ(host.stdoutStream.read(output.data(), 7), 7U);
    EXPECT_EQ(std::string(output.data(), 7), "started");
    host.Terminate();
    EXPECT_EQ(host.stdoutStream.read(output.data(), output.size()), 0U) << "the worker lives on";
}

}  // namespace
