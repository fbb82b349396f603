#include "codecs/decoders/ffmpeg/worker_command.h"

#include <gtest/gtest.h>

namespace {

TEST(WorkerCommand, ShowsSecondsToTheMicrosecond) {
    const std::pair<double, const char*> cases[] = {
        {12.5, "12.5"},   {0.000001, "0.000001"},          {3.0, "3"}, {0.0, "0"}, {-1.25, "-1.25"},
        {1.9999999, "2"}, {1e300, "18446744073709.551615"}};
    for (const auto& [seconds, text] : cases) EXPECT_EQ(SecondsText(seconds), text);
}

}  // namespace
