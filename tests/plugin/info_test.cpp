#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kit/plugin.h"
#include "kit/tools.h"

namespace {

TEST(Info, TellsWhatTheWorkerFound) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    const std::filesystem::path file = folder / "x.flac";
    kit::MakeAudio(
        file, 2.5,
        {"-ar", "48000", "-metadata", "title=A: title = \"x\"", "-metadata", "artist=\xD0\x9C\xC3\xBC",
         "-metadata", "comment=first\nsecond: line\n  third", "-metadata", "empty="});
    kit::TestDecoder decoder(plugin);
    ASSERT_TRUE(decoder.Open(file)) << decoder.ErrorLog();
    EXPECT_NEAR(static_cast<double>(decoder.info.format.durationMs), 2500, 10);
    const auto bytes = static_cast<double>(std::filesystem::file_size(file));
    EXPECT_NEAR(decoder.info.format.bitrate, bytes * 8 / 2.5, 1000);
    EXPECT_EQ(decoder.info.reserved, 0U);
    const auto tags = decoder.Tags();
    EXPECT_EQ(kit::ValueOf(tags, "TITLE") + kit::ValueOf(tags, "title"), "A: title = \"x\"");
    EXPECT_EQ(kit::ValueOf(tags, "ARTIST") + kit::ValueOf(tags, "artist"), "\xD0\x9C\xC3\xBC");
    EXPECT_EQ(kit::ValueOf(tags, "comment"), "first\nsecond: line\n  third");
    EXPECT_EQ(kit::ValueOf(tags, "empty"), "");
    EXPECT_EQ(kit::ValueOf(decoder.Info(), "Encoder"), "flac");
}

TEST(Info, NamesEveryAudioStream) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    const std::filesystem::path file = folder / "two.ts";
    kit::Ffmpeg(
        {"-f",   "lavfi",      "-i",     "sine=d=1", "-f",           "lavfi", "-i",     "testsrc=d=1:s=64x64",
         "-map", "0",          "-map",   "1",        "-map",         "0",     "-c:a:0", "mp2",
         "-c:v", "mpeg2video", "-c:a:1", "ac3",      kit::Utf8(file)});
    kit::TestDecoder decoder(plugin);
    ASSERT_TRUE(decoder.Open(file, DECODER_OPEN_INFO)) << decoder.ErrorLog();
    EXPECT_EQ(decoder.info.tags, nullptr);
    const auto info = decoder.Info();
    ASSERT_EQ(info.size(), 2U);
    EXPECT_EQ(info[0].name, "Encoder");
    EXPECT_EQ(info[0].value.substr(0, 3), "mp2");
    EXPECT_EQ(info[1].value.substr(0, 3), "ac3");
}

TEST(Info, BlobsLiveUntilTheNextOpen) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    kit::MakeAudio(folder / "x.au", 0.5, {"-metadata", "title=kept"});
    kit::TestDecoder decoder(plugin);
    ASSERT_TRUE(decoder.Open(folder / "x.au"));
    const std::string tags(static_cast<const char*>(decoder.info.tags), decoder.info.tagsSize);
    ASSERT_TRUE(decoder.SetPosition(100));
    decoder.ReadAll();
    decoder.Close();
    EXPECT_EQ(std::string(static_cast<const char*>(decoder.info.tags), decoder.info.tagsSize), tags);
}

}  // namespace
