// The pieces of the host whose faults no small file would show.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <future>
#include <string>

#include "decoder_plugin.hpp"
#include "host/doctor/patience.h"
#include "host/files/wav_header.h"
#include "host/session/log_messages.h"
#include "host/tags/entry.h"
#include "host/tags/pictures.h"
#include "host/terminal/progress.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {
namespace {

DecoderWaveFormat Wave(std::uint16_t tag, std::uint16_t channels, std::uint16_t bits) {
    DecoderWaveFormat wave{};
    wave.formatTag = tag;
    wave.channels = channels;
    wave.samplesPerSecond = 48000;
    wave.bitsPerSample = bits;
    wave.blockAlign = static_cast<std::uint16_t>(channels * bits / 8);
    wave.averageBytesPerSecond = 48000u * wave.blockAlign;
    if (tag == 0xFFFE) {
        wave.extraSize = 22;
        wave.validBitsPerSample = bits;
        wave.channelMask = 0x3F;
        wave.subFormat[0] = 1;
    }
    return wave;
}

std::string Text(const std::vector<std::byte>& bytes, std::size_t offset, std::size_t count) {
    return {reinterpret_cast<const char*>(bytes.data()) + offset, count};
}

template <typename Number>
Number At(const std::vector<std::byte>& bytes, std::size_t offset) {
    Number number;
    std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

// Catches sizes cut to 32 bits, a header that outgrows its own room, and a switch to RF64 that comes too
// late: the RIFF size passes 32 bits before the samples do.
TEST(WavHeader, BecomesRf64WhenTheSizesPass32Bits) {
    for (const DecoderWaveFormat& wave : {Wave(1, 2, 16), Wave(3, 2, 32), Wave(0xFFFE, 6, 16)}) {
        const std::size_t length = WavFileHeader(wave, 0).size();
        const std::uint64_t overhead = length - 8;
        const std::uint64_t largestRiff = 0xFFFFFFFFu - overhead - 1;
        for (const std::uint64_t size :
             {std::uint64_t{0}, std::uint64_t{1001}, largestRiff - largestRiff % 12, largestRiff + 2,
              std::uint64_t{0x123456780}}) {
            const std::vector<std::byte> header = WavFileHeader(wave, size);
            ASSERT_EQ(header.size(), length);
            const bool large = size > largestRiff;
            const std::uint64_t riff = overhead + size + size % 2;
            EXPECT_EQ(Text(header, 0, 4), large ? "RF64" : "RIFF") << size;
            EXPECT_EQ(At<std::uint32_t>(header, 4), large ? 0xFFFFFFFFu : riff);
            EXPECT_EQ(Text(header, 12, 4), large ? "ds64" : "JUNK");
            EXPECT_EQ(At<std::uint32_t>(header, 16), 28u);
            EXPECT_EQ(At<std::uint64_t>(header, 20), large ? riff : 0);
            EXPECT_EQ(At<std::uint64_t>(header, 28), large ? size : 0);
            EXPECT_EQ(At<std::uint64_t>(header, 36), large ? size / wave.blockAlign : 0);
            EXPECT_EQ(Text(header, 48, 4), "fmt ");
            EXPECT_EQ(Text(header, length - 8, 4), "data");
            EXPECT_EQ(At<std::uint32_t>(header, length - 4), large ? 0xFFFFFFFFu : size);
        }
    }
}

TEST(WavHeader, CarriesTheExtensibleRecordOver) {
    const std::vector<std::byte> header = WavStreamHeader(Wave(0xFFFE, 6, 24));
    EXPECT_EQ(At<std::uint32_t>(header, 16), 40u);
    EXPECT_EQ(At<std::uint16_t>(header, 36), 22u);
    EXPECT_EQ(At<std::uint16_t>(header, 38), 24u);
    EXPECT_EQ(At<std::uint32_t>(header, 40), 0x3Fu);
    EXPECT_EQ(At<std::uint32_t>(header, header.size() - 4), 0xFFFFFFFFu);
}

TEST(Blob, GivesBackWhatItWasBuiltFromAndRefusesDamage) {
    using decoder_plugin::Blob;
    const Entries entries = {{"Artist", "A\rB\xC3\xA9\xF0\x9F\x98\x80", {}},
                             {"_albumart_1_Media", "", {std::byte{1}, std::byte{0}, std::byte{3}}},
                             {"", "", {}}};
    const decoder_plugin::BlobBuilder builder = BlobOf(entries);
    const std::vector<std::byte> blob(builder.bytes().begin(), builder.bytes().end());
    const Entries parsed = CopyOf(Blob(blob));
    ASSERT_EQ(parsed.size(), entries.size());
    for (std::size_t index = 0; index < entries.size(); ++index) {
        EXPECT_EQ(parsed[index].name, entries[index].name);
        EXPECT_EQ(parsed[index].value, entries[index].value);
        EXPECT_EQ(parsed[index].data, entries[index].data);
    }
    EXPECT_THAT((*Blob(blob).begin()).Values(), testing::ElementsAre("A", "B\xC3\xA9\xF0\x9F\x98\x80"));
    EXPECT_TRUE(Blob().empty());
    // Reads past the end would be seen by AddressSanitizer.
    for (std::size_t size = 1; size < blob.size(); ++size) {
        const std::vector<std::byte> cut(blob.begin(), blob.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_FALSE(Blob::TryParse(cut)) << size;
        EXPECT_THROW(Blob{cut}, decoder_plugin::Error) << size;
    }
    std::vector<std::byte> wrongLength = blob;
    wrongLength[4] = std::byte{3};
    EXPECT_FALSE(Blob::TryParse(wrongLength));
}

// Catches a second front cover beside the first, and a picture that takes another one's place.
TEST(Pictures, NewOnesTakeThePlaceOfTheirType) {
    const Entries present = {{"_albumart_1_Back Album Cover", "", {}},
                             {"_albumart_2_Front Album Cover<subdesc>old", "", {}},
                             {"_ALBUMART_3", "", {}},
                             {"Title", "x", {}}};
    const std::vector<Cover> covers = {ParseCover("front:new one=a=b.jpg"), ParseCover("FRONT=c"),
                                       ParseCover("Back Album Cover=d")};
    EXPECT_EQ(covers[0].file, "a=b.jpg");
    EXPECT_THAT(NamesForCovers(covers, present, true),
                testing::ElementsAre("_albumart_2_Front Album Cover<subdesc>new one",
                                     "_albumart_4_Front Album Cover", "_albumart_1_Back Album Cover"));
    EXPECT_THAT(NamesForCovers(covers, present, false),
                testing::ElementsAre("_albumart_1_Front Album Cover<subdesc>new one",
                                     "_albumart_2_Front Album Cover", "_albumart_3_Back Album Cover"));
    for (const char* wrong : {"front", "front=", "nose=a.jpg", "=a.jpg"}) {
        EXPECT_THROW(ParseCover(wrong), UsageFailure) << wrong;
    }
}

TEST(Text, ReadsAndShowsTimes) {
    const struct {
        const char* text;
        std::optional<double> seconds;
    } rows[] = {{"12.5", 12.5},
                {"90", 90},
                {"90:00", 5400},
                {"1:02:03.25", 3723.25},
                {"1:90", {}},
                {"", {}},
                {"1:2:3:4", {}},
                {"-1", {}},
                {"1e3", {}},
                {"1.5:00", {}},
                {".5", {}},
                {"1:", {}},
                {"inf", {}},
                {"1.2.3", {}},
                {"99999999999999999999", {}}};
    for (const auto& row : rows) EXPECT_EQ(ParseTime(row.text), row.seconds) << row.text;
    EXPECT_EQ(FormatTime(3723250, true), "1:02:03.250");
    EXPECT_EQ(FormatTime(59999, false), "0:59");
}

TEST(Text, TurnsBadCharactersIntoHarmlessOnes) {
    EXPECT_EQ(decoder_plugin::ToUtf8(u"a\xD800z\xDC00"), "a\xEF\xBF\xBDz\xEF\xBF\xBD");
    for (const char* bad : {"\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\x80"}) {
        EXPECT_FALSE(decoder_plugin::TryToUtf16(bad));
        EXPECT_THROW(decoder_plugin::ToUtf16(bad), decoder_plugin::Error);
    }
    EXPECT_EQ(decoder_plugin::PathTextToUtf16("\xC3\xA9\xE2\x82z"), u"\u00E9\xDCE2\xDC82z");
    EXPECT_EQ(EscapeControls("a\x1B[2J\xC2\x9B\xC3\xA9\xFF"), "a\\u001B[2J\\u009B\xC3\xA9\\xFF");
}

// Catches a label left in the user's line, and a message cut at a bracket or line end of its own.
TEST(Log, MessagesComeWithoutLabels) {
    EXPECT_THAT(LogMessages(u"no [x]  file\r\nhere  [A::Open]\r\nsecond  [B]\r\nunfinished"),
                testing::ElementsAre("no [x]  file\r\nhere", "second"));
}

// Catches one that waits for its limit, and one that calls although it was over in time.
TEST(Patience, IsLostAfterItsLimitAlone) {
    std::promise<void> called;
    doctor::Patience lost(std::chrono::milliseconds(1), [&] { called.set_value(); });
    called.get_future().wait();
    EXPECT_TRUE(lost.End());
    bool calledToo = false;
    doctor::Patience kept(std::chrono::hours(1), [&] { calledToo = true; });
    EXPECT_FALSE(kept.End());
    EXPECT_FALSE(calledToo);
}

TEST(Progress, FitsTheTerminal) {
    for (const std::size_t width : {1u, 20u, 79u, 300u}) {
        const std::string line = ProgressLine(30000, 60000, 2, width);
        EXPECT_EQ(line.size(), width);
        if (width >= 79) {
            EXPECT_THAT(line, testing::HasSubstr("0:30 / 1:00  15.0x"));
            EXPECT_EQ(std::count(line.begin(), line.end(), '#'),
                      std::count(line.begin(), line.end(), '.') - 1);
        }
    }
    EXPECT_THAT(ProgressLine(90000, 60000, 1, 79), testing::StartsWith("[########"));
}

}  // namespace
}  // namespace host
