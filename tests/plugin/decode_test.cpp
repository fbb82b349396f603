#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "kit/plugin.h"
#include "kit/tools.h"

namespace {

struct Format {
    const char* name;  // also the file's, up to its extension
    std::vector<std::string> options;
};

std::vector<Format> Formats() {
    const auto pcm = [](const char* name, const char* codec, const char* rate, const char* channels) {
        return Format{name, {"-c:a", codec, "-ar", rate, "-ac", channels}};
    };
    return {{"tta.tta", {}},
            {"flac.mka", {"-c:a", "flac", "-ac", "2"}},
            {"vorbis.mkv", {"-c:a", "libvorbis"}},
            {"vorbis.webm", {"-c:a", "libvorbis", "-ac", "2"}},
            {"ac3.ac3", {"-ar", "48000", "-ac", "6"}},
            {"eac3.eac3", {"-ar", "48000", "-ac", "2"}},
            {"dts.dts", {"-ar", "48000", "-ac", "2", "-strict", "-2"}},
            {"mlp.mlp", {"-ar", "48000", "-ac", "2", "-strict", "-2"}},
            {"mpegts.ts", {"-c:a", "mp2", "-ac", "2"}},
            {"au.au", {}},
            {"voc.voc", {}},
            pcm("u8_8k.wav", "pcm_u8", "8000", "1"),
            pcm("s16_11k_3.wav", "pcm_s16le", "11025", "3"),
            pcm("s24_96k.wav", "pcm_s24le", "96000", "2"),
            pcm("s32_192k.wav", "pcm_s32le", "192000", "1"),
            pcm("float_48k_51.wav", "pcm_f32le", "48000", "6"),
            pcm("s16_44k_71.wav", "pcm_s16le", "44100", "8")};
}

TEST(Decode, GivesTheSamplesThatFfmpegWrites) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    for (const Format& format : Formats()) {
        SCOPED_TRACE(format.name);
        const std::filesystem::path file = folder / format.name;
        kit::MakeAudio(file, 1.3, format.options);
        const std::string expected = kit::ReferenceSamples(kit::Utf8(file));
        ASSERT_FALSE(expected.empty());
        kit::TestDecoder decoder(plugin);
        ASSERT_TRUE(decoder.Open(file, 0)) << decoder.ErrorLog();
        EXPECT_EQ(decoder.info.tags, nullptr) << "blobs come only when asked for";
        EXPECT_EQ(decoder.info.info, nullptr);
        EXPECT_TRUE(decoder.ReadAll() == expected);
        const std::size_t frame = decoder.block.format.wave.blockAlign;
        ASSERT_GT(frame, 0U);
        EXPECT_EQ(expected.size() % frame, 0U);
        EXPECT_TRUE(decoder.DecodeBlock()) << "the end isn't a failure";
        EXPECT_EQ(decoder.block.bytes, 0U);
        EXPECT_EQ(decoder.block.endOfStream, 1);
    }
}

TEST(Decode, SeeksAsFfmpegDoes) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    const std::vector<Format> formats{{"a.tta", {"-ac", "2"}},
                                      {"b.wav", {"-ar", "48000"}},
                                      {"c.mka", {"-c:a", "flac"}},
                                      {"d.ac3", {"-ar", "48000"}}};
    struct Seek {
        double seconds;
        const char* start;  // what FFmpeg is asked for
    };
    const Seek seeks[] = {{1, "1"}, {2.5, "2.5"}, {0.25, "0.25"}, {0, ""},
                          {-3, ""}, {100, "100"}, {1.5, "1.5"}};
    for (const Format& format : formats) {
        const std::filesystem::path file = folder / format.name;
        kit::MakeAudio(file, 3, format.options);
        kit::TestDecoder decoder(plugin);
        ASSERT_TRUE(decoder.Open(file)) << decoder.ErrorLog();
        const kit::Format opened = decoder.info.format;
        ASSERT_TRUE(decoder.DecodeBlock());
        for (const Seek& seek : seeks) {
            SCOPED_TRACE(testing::Message() << format.name << " to " << seek.seconds);
            const auto position = static_cast<std::int64_t>(seek.seconds * opened.wave.samplesPerSecond);
            const std::string expected = kit::ReferenceSamples(kit::Utf8(file), seek.start);
            ASSERT_TRUE(decoder.SetPosition(position)) << decoder.ErrorLog();
            EXPECT_TRUE(decoder.ReadAll() == expected);
            EXPECT_EQ(decoder.block.format.durationMs, opened.durationMs);
            EXPECT_EQ(decoder.block.format.bitrate, opened.bitrate);
        }
    }
}

TEST(Decode, ReportsPositionsAndWholeBlocks) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    const std::filesystem::path file = folder / "x.wav";
    kit::MakeAudio(file, 1, {"-ar", "44100", "-ac", "2"});
    kit::TestDecoder decoder(plugin);
    ASSERT_TRUE(decoder.Open(file));
    ASSERT_TRUE(decoder.DecodeBlock());
    EXPECT_EQ(decoder.block.position, 0U);
    EXPECT_EQ(decoder.block.bytes, 16384U);
    EXPECT_EQ(decoder.block.endOfStream, 0);
    const void* const samples = decoder.block.samples;
    ASSERT_TRUE(decoder.DecodeBlock());
    EXPECT_EQ(decoder.block.position, 92U) << "16384 * 1000 / 176400";
    EXPECT_EQ(decoder.block.samples, samples) << "the buffer is kept";
    ASSERT_TRUE(decoder.SetPosition(22050));
    ASSERT_TRUE(decoder.DecodeBlock());
    EXPECT_EQ(decoder.block.position, 22050U);
    ASSERT_TRUE(decoder.DecodeBlock());
    EXPECT_EQ(decoder.block.position, 22050U + 92U);
    ASSERT_TRUE(decoder.SetPosition(-3));
    ASSERT_TRUE(decoder.DecodeBlock());
    EXPECT_EQ(decoder.block.position, ~std::uint64_t{0} - 2) << "the place as it was given";
}

TEST(Decode, TakesAnyName) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    kit::MakeAudio(folder / "plain.wav", 0.2);
    const std::string expected = kit::ReferenceSamples(kit::Utf8(folder / "plain.wav"));
    std::vector<std::u16string> names{u"with blanks  .wav", u"it's 100%s %d.wav", u"-i.wav",
                                      u"\u041C\u0443\u0437\u044B\u043A\u0430.wav", u"[a]&(b);c$d.wav"};
#ifndef _WIN32
    // Windows has no such names, and its worker gets no character of more than 16 bits.
    names.insert(names.end(), {u"\U0001F3B5.wav", u"\"quoted\".wav", u"back\\slash.wav"});
#endif
    const auto decodes = [&](const std::filesystem::path& path) {
        kit::TestDecoder decoder(plugin);
        return decoder.Open(path) && decoder.ReadAll() == expected;
    };
    for (const std::u16string& name : names) {
        std::filesystem::copy_file(folder / "plain.wav", folder / name);
        EXPECT_TRUE(decodes(folder / name)) << kit::Utf8(name);
    }
    const std::filesystem::path longFolder = folder / std::string(100, 'l') / std::string(100, 'o');
    std::filesystem::create_directories(longFolder);
    const std::filesystem::path longName = longFolder / (std::string(100, 'n') + ".wav");
    std::filesystem::copy_file(folder / "plain.wav", longName);
    EXPECT_TRUE(decodes(longName));

    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    EXPECT_TRUE(decodes(u"-i.wav")) << "a leading - in a relative name";
    std::filesystem::current_path(before);
}

}  // namespace
