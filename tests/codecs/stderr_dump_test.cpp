#include "codecs/decoders/ffmpeg/stderr_dump.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

struct Delivered {
    DecoderFormat format{};
    IDTags metadata;
    IDTags information;
};

void Deliver(const std::string& text, Delivered& delivered) {
    StdErrParse parse;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line) && !parse.done;) ParseStdErrLine(parse, line);
    DeliverStdErr(parse, delivered.format, delivered.metadata, delivered.information);
}

std::string Shown(const IDTags& tags) {
    std::string text;
    for (const IDTag* tag : tags) text += std::string(tag->Name.Utf8()) + "=" + tag->Value.Utf8() + ";";
    return text;
}

TEST(ErrorText, CollectsTheFirstInputsOwnMetadata) {
    Delivered delivered;
    Deliver(
        "  Metadata:\n    early           : no\n"
        "Input #0, flac, from 'x.flac':\n"
        "  Metadata:\n"
        "                    : no pair to continue\n"
        "    title           : A: title\n"
        "    comment         :  first line\n"
        "                    : second: line\n"
        "    empty           : \n"
        "    no colon\n"
        "  Duration: 01:02:03.25, start: 0.000000, bitrate: 1411 KB/S\n"
        "  Stream #0:0[0x1](eng): Audio: flac (f / 0x1), 44100 Hz, stereo, s16\n"
        "    Metadata:\n"
        "      encoder         : of a stream\n"
        "  Stream #0:1: Video: mjpeg, 500x500\n"
        "  Stream #0:2(und): audio: lower case\n"
        "  Stream #0 without a second part\n"
        "  Stream #0:3: Audio: aac (LC)\n"
        "  Stream #1:0: Audio: another input's\n"
        "Stream mapping:\n"
        "  Metadata:\n    late            : no\n",
        delivered);
    EXPECT_EQ(Shown(delivered.metadata), "title=A: title;comment= first line\nsecond: line;");
    EXPECT_EQ(Shown(delivered.information), "Encoder=flac (f / 0x1);Encoder=aac (LC);");
    // The + makes a value of what is unaligned in the record.
    EXPECT_EQ(+delivered.format.durationMs, 3723250);
    EXPECT_EQ(+delivered.format.bitrate, 1411000U);
}

TEST(ErrorText, ReadsDurationAndBitrateAsTheyAre) {
    struct Case {
        const char* line;
        std::int64_t durationMs;
        std::uint32_t bitrate;
    };
    const Case cases[] = {{"  Duration: 00:00:01.50, bitrate: 800 b/s", 1500, 800},
                          {"  Duration: 10.5", 10500, 0},
                          {"  Duration: 00:00:1.2.3", -1000, 0},
                          {"  Duration: 99999999999999999999:99999999999:00", 9200000000000000000, 0},
                          {"  Duration:00:00:01.00", 0, 0},
                          {"  Duration: 00:00:01.50, bitrate: 64 kb/s", 1500, 64000},
                          {"  Duration: 00:00:01.50, bitrate: 12", 1500, 0},
                          {"  Duration: N/A, bitrate: N/A", 0, 0}};
    // One record for all, as a decoder has for the files that it opens: nothing of an earlier one stays.
    Delivered delivered;
    for (const Case& c : cases) {
        Deliver(std::string("Input #0, x:\n") + c.line + "\n  Stream #0:0: Audio: x\nend\n", delivered);
        EXPECT_EQ(+delivered.format.durationMs, c.durationMs) << c.line;
        EXPECT_EQ(+delivered.format.bitrate, c.bitrate) << c.line;
    }
}

}  // namespace
