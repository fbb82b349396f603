// The keys "SampleFormat" and "AudioStream", held against what FFmpeg itself decodes.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "extensions.h"
#include "kit/tools.h"

namespace {

using Arguments = std::vector<std::string>;

// Interleaved samples in one of FFmpeg's raw formats, "s24le" and the like.
std::string RawSamples(const std::filesystem::path& file, const std::string& format, int stream,
                       const std::string& start) {
    Arguments arguments;
    if (!start.empty()) arguments = {"-ss", start};
    arguments.insert(arguments.end(), {"-i", kit::Utf8(file)});
    if (stream >= 0) arguments.insert(arguments.end(), {"-map", "0:a:" + std::to_string(stream)});
    arguments.insert(arguments.end(), {"-c:a", "pcm_" + format, "-f", format, "-"});
    return kit::Ffmpeg(arguments);
}

std::string Little(std::uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i, value >>= 8) text += static_cast<char>(value & 0xFF);
    return text;
}

// A DSF file: one bit per sample at 2.8224 MHz, which FFmpeg can read but not write.
std::string DsfFile() {
    constexpr std::uint64_t kBlock = 4096;
    constexpr std::uint64_t kBlocks = 40;
    std::string data;
    for (std::uint64_t i = 0; i < kBlocks * kBlock; ++i) data += static_cast<char>(i * i >> 7);
    const std::string format = "fmt " + Little(52, 8) + Little(1, 4) + Little(0, 4) + Little(1, 4) +
                               Little(1, 4) + Little(2822400, 4) + Little(1, 4) + Little(data.size() * 8, 8) +
                               Little(kBlock, 4) + Little(0, 4);
    const std::string chunk = "data" + Little(12 + data.size(), 8) + data;
    return "DSD " + Little(28, 8) + Little(28 + format.size() + chunk.size(), 8) + Little(0, 8) + format +
           chunk;
}

// Whether a run gives these samples, from its beginning and behind a seek to one half second.
void ExpectSamples(kit::TestDecoder& decoder, const std::filesystem::path& file, const std::string& format,
                   int stream = -1) {
    ASSERT_TRUE(decoder.Open(file)) << decoder.ErrorLog();
    const std::string whole = decoder.ReadAll();
    EXPECT_FALSE(whole.empty());
    EXPECT_TRUE(whole == RawSamples(file, format, stream, {}));
    const int bits = std::stoi(format.substr(1));
    EXPECT_EQ(decoder.block.format.wave.bitsPerSample, bits);
    EXPECT_EQ(decoder.block.format.wave.blockAlign, bits / 8 * decoder.block.format.wave.channels);
    ASSERT_TRUE(decoder.SetPosition(decoder.info.format.wave.samplesPerSecond / 2));
    EXPECT_TRUE(decoder.ReadAll() == RawSamples(file, format, stream, "0.5"));
}

TEST(SampleFormat, SourceIsAsDeepAsTheFile) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    struct Case {
        const char* name;
        Arguments options;
        const char* format;
    };
    const std::vector<Case> cases{{"16.flac", {"-sample_fmt", "s16"}, "s16le"},
                                  {"8.wav", {"-c:a", "pcm_u8"}, "s16le"},
                                  {"24.flac", {"-sample_fmt", "s32", "-bits_per_raw_sample", "24"}, "s24le"},
                                  {"24.mka", {"-c:a", "tta", "-sample_fmt", "s32", "-ac", "2"}, "s24le"},
                                  {"32.wav", {"-c:a", "pcm_s32le"}, "s32le"},
                                  {"f32.wav", {"-c:a", "pcm_f32le"}, "f32le"},
                                  {"f64.wav", {"-c:a", "pcm_f64le"}, "f64le"},
                                  {"lossy.mp3", {}, "f32le"},
                                  {"dsd.dsf", {}, "f32le"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (std::string(c.name) == "dsd.dsf") {
            kit::WriteFile(folder / c.name, DsfFile());
        } else {
            kit::MakeAudio(folder / c.name, 1, c.options);
        }
        kit::TestDecoder decoder(plugin);
        ASSERT_TRUE(SetFormat(plugin, decoder, DECODER_SAMPLES_SOURCE));
        ExpectSamples(decoder, folder / c.name, c.format);
        ASSERT_TRUE(SetFormat(plugin, decoder, DECODER_SAMPLES_DEFAULT));
        ASSERT_TRUE(decoder.Open(folder / c.name));
        EXPECT_EQ(decoder.info.format.wave.bitsPerSample, 16) << "the base contract";
    }
}

TEST(SampleFormat, IsWhatTheHostNamed) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    kit::MakeAudio(folder / "x.wav", 1, {"-c:a", "pcm_f64le", "-ac", "2"});
    kit::TestDecoder decoder(plugin);
    const std::pair<const char16_t*, const char*> cases[] = {{DECODER_SAMPLES_S16, "s16le"},
                                                             {DECODER_SAMPLES_S24, "s24le"},
                                                             {DECODER_SAMPLES_S32, "s32le"},
                                                             {DECODER_SAMPLES_F32, "f32le"},
                                                             {DECODER_SAMPLES_F64, "f64le"}};
    for (const auto& [word, format] : cases) {
        SCOPED_TRACE(format);
        ASSERT_TRUE(SetFormat(plugin, decoder, word));
        for (const char16_t* unknown : {u"S24", u"", u"s24 ", u"pcm_s16le -y x"}) {
            EXPECT_FALSE(SetFormat(plugin, decoder, unknown));
            EXPECT_EQ(AskFailure(plugin, decoder).value, DECODER_FAILURE_NOT_SUPPORTED);
        }
        EXPECT_FALSE(SetFormat(plugin, decoder, nullptr));
        ExpectSamples(decoder, folder / "x.wav", format);
    }
}

TEST(AudioStream, IsTheOneThatTheHostChose) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    const std::filesystem::path film = folder / "film.mkv";
    kit::Ffmpeg({"-f",
                 "lavfi",
                 "-i",
                 "testsrc=d=1:s=64x64",
                 "-f",
                 "lavfi",
                 "-i",
                 "sine=d=1",
                 "-f",
                 "lavfi",
                 "-i",
                 "sine=f=600:d=1",
                 "-map",
                 "1",
                 "-map",
                 "0",
                 "-map",
                 "2",
                 "-map",
                 "1",
                 "-c:v",
                 "mpeg2video",
                 "-c:a",
                 "flac",
                 "-ac:a:0",
                 "1",
                 "-ac:a:1",
                 "2",
                 "-ac:a:2",
                 "6",
                 "-sample_fmt:a:1",
                 "s32",
                 "-metadata:s:a:0",
                 "language=eng",
                 kit::Utf8(film)});
    kit::TestDecoder decoder(plugin);
    ASSERT_TRUE(SetFormat(plugin, decoder, DECODER_SAMPLES_SOURCE));
    const std::pair<int, const char*> streams[] = {{0, "s16le"}, {1, "s24le"}, {2, "s16le"}};
    for (const auto& [number, format] : streams) {
        SCOPED_TRACE(number);
        ASSERT_TRUE(SetStream(plugin, decoder, number));
        ExpectSamples(decoder, film, format, number);
        EXPECT_EQ(decoder.info.format.wave.channels, number == 2 ? 6 : number + 1);
    }
    EXPECT_FALSE(SetStream(plugin, decoder, -2));
    EXPECT_EQ(AskFailure(plugin, decoder).value, DECODER_FAILURE_INVALID_ARGUMENT);

    ASSERT_TRUE(SetStream(plugin, decoder, 3));
    EXPECT_FALSE(decoder.Open(film));
    const std::string text = "There is no audio stream 3 (counted from 0): the file has 3.";
    EXPECT_EQ(decoder.ErrorLog(), text + "  [clDecoder_ffmpeg::SetPosition]\r\n");
    const Answer failure = AskFailure(plugin, decoder);
    EXPECT_EQ(failure.value, DECODER_FAILURE_NO_SUCH_STREAM);
    EXPECT_EQ(failure.text, std::u16string(text.begin(), text.end()));
    EXPECT_FALSE(decoder.Open(folder / "missing.mkv"));
    EXPECT_EQ(AskFailure(plugin, decoder).value, DECODER_FAILURE_FILE_NOT_FOUND);

    ASSERT_TRUE(SetStream(plugin, decoder, -1));
    ASSERT_TRUE(SetFormat(plugin, decoder, DECODER_SAMPLES_DEFAULT));
    ExpectSamples(decoder, film, "s16le");
}

// Line by line what the worker is started with: nothing without a key, one more start where it is needed.
TEST(SampleFormat, StartsTheWorkerAsOftenAsItMust) {
    const kit::PluginWithWorker installed{STAND_IN_WORKER};
    const kit::Plugin& plugin = installed.plugin();
    const kit::TempFolder folder;
    const std::filesystem::path file = folder / "deep";
    struct Case {
        const char16_t* format;
        int stream;
        const char* starts;
    };
    const std::vector<Case> cases{
        {DECODER_SAMPLES_DEFAULT, -1, "-i FILE -f w64 -\n"},
        {DECODER_SAMPLES_S16, 5, "-i FILE -map 0:a:5 -c:a pcm_s16le -f w64 -\n"},
        {DECODER_SAMPLES_SOURCE, -1, "-i FILE -f w64 -\n-i FILE -c:a pcm_s24le -f w64 -\n"},
        {DECODER_SAMPLES_SOURCE, 0, "-i FILE -map 0:a:0 -f w64 -\n"},
        {DECODER_SAMPLES_SOURCE, 1,
         "-i FILE -map 0:a:1 -f w64 -\n-i FILE -map 0:a:1 -c:a pcm_s24le -f w64 -\n"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.starts);
        std::filesystem::remove(folder / "starts");
        kit::TestDecoder decoder(plugin);
        if (c.format != std::u16string_view(DECODER_SAMPLES_DEFAULT)) {
            ASSERT_TRUE(SetFormat(plugin, decoder, c.format));
        }
        if (c.stream >= 0) {
            ASSERT_TRUE(SetStream(plugin, decoder, c.stream));
        }
        ASSERT_TRUE(decoder.Open(file)) << decoder.ErrorLog();
        std::string starts = kit::ReadFile(folder / "starts");
        EXPECT_EQ(starts, c.starts);
        EXPECT_EQ(decoder.info.format.durationMs, 1500);
        // What a host sets meanwhile is for the next run.
        ASSERT_TRUE(SetFormat(plugin, decoder, DECODER_SAMPLES_F32));
        ASSERT_TRUE(SetStream(plugin, decoder, 7));
        ASSERT_TRUE(decoder.SetPosition(44100));
        starts = kit::ReadFile(folder / "starts").substr(starts.size());
        const std::string first(c.starts);
        const std::string last = first.substr(first.rfind('\n', first.size() - 2) + 1);
        EXPECT_EQ(starts, "-ss 1 " + last);
    }
}

}  // namespace
