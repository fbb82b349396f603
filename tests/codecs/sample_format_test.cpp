#include "codecs/decoders/ffmpeg/sample_format.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

SampleFormat DepthOfLine(const std::string& line) {
    StdErrParse parse;
    EXPECT_TRUE(ParseStreamLine(parse, "Stream #0:0: Audio: " + line)) << line;
    return DepthOf(parse.streams.front());
}

TEST(SampleFormat, DepthComesFromTheStreamLine) {
    const std::pair<const char*, SampleFormat> lines[] = {
        {"flac, 44100 Hz, stereo, s32 (24 bit)", SampleFormat::S24},
        {"alac (alac / 0x63616C61), 44100 Hz, mono, s32p (20 bit), 493 kb/s (default)", SampleFormat::S24},
        {"truehd, 48000 Hz, 5.1(side), s32 (16 bit)", SampleFormat::S16},
        {"wavpack, 44100 Hz, mono, s16p (8 bit)", SampleFormat::S16},
        {"pcm_u8 ([1][0][0][0] / 0x0001), 8000 Hz, 1 channels, u8, 64 kb/s", SampleFormat::S16},
        {"tta, 44100 Hz, 3 channels (FL+FR+LFE), s32", SampleFormat::S32},
        {"flac, 44100 Hz, stereo, s32 (32 bit)", SampleFormat::S32},
        {"pcm_s64le, 44100 Hz, stereo, s64, 5644 kb/s", SampleFormat::F64},
        {"aac (LC) (mp4a / 0x6134), 44100 Hz, stereo, fltp, 128 kb/s", SampleFormat::F32},
        {"pcm_f64le ([3][0][0][0] / 0x0003), 44100 Hz, mono, dbl, 2822 kb/s", SampleFormat::F64},
        // What tells nothing, or nothing that can be believed.
        {"s32", SampleFormat::Default},
        {"none, 44100 Hz, s3, s320, fltpp, pdbl", SampleFormat::Default},
        {"x, s32 (99999999999999999999 bit)", SampleFormat::S32},
        {"x, s32 (0 bit)", SampleFormat::S32},
        {"x, s32 ( bit)", SampleFormat::S32},
        {"x, s32  bit)", SampleFormat::S32}};
    for (const auto& [line, format] : lines) EXPECT_EQ(DepthOfLine(line), format) << line;
}

TEST(SampleFormat, TheWorkersChoiceStandsBehindTheDump) {
    const auto mappedBy = [](std::initializer_list<const char*> lines) {
        StdErrParse parse;
        for (const char* line : {"Input #0, x", "  Stream #0:3: Audio: x"}) ParseStdErrLine(parse, line);
        for (const char* line : lines) ParseStdErrLine(parse, line);
        return std::pair(parse.mapped.value_or(99), parse.mappingDone);
    };
    EXPECT_EQ(mappedBy({"Stream mapping:", "  Stream #0:3 -> #0:0 (x (native) -> y (native))"}),
              std::pair(3U, true));
    EXPECT_EQ(mappedBy({"Stream mapping:", "  Stream #0:3 -> #0:1 (x)"}), std::pair(99U, false));
    EXPECT_EQ(mappedBy({"end", "Output #0, w64, to 'pipe:':", "  Stream #0:3 -> #0:0"}),
              std::pair(99U, true));
}

}  // namespace
