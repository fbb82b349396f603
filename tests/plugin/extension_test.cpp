// The keys beyond the base contract that tell a host what became of a call or of a worker.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "extensions.h"
#include "kit/tools.h"

namespace {

std::string Utf8(std::u16string_view text) {
    const std::u8string bytes = std::filesystem::path(text).u8string();
    return {bytes.begin(), bytes.end()};
}

TEST(Extension, TellsItsVersion) {
    const kit::Plugin plugin;
    kit::TestDecoder decoder(plugin);
    const Answer version = Ask(plugin, decoder, DECODER_GET_VERSION);
    ASSERT_TRUE(version.given);
    EXPECT_EQ(version.text, u"" DECODER_PROJECT_VERSION) << "the header and the build agree";
    EXPECT_EQ(version.value, DECODER_EXTENSION_SET);
}

TEST(Extension, TellsOfTheSource) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    kit::TestDecoder decoder(plugin);
    const auto given = [&](const char16_t* key) { return Ask(plugin, decoder, key).given; };
    EXPECT_FALSE(given(DECODER_GET_SOURCE_STREAM) || given(DECODER_GET_DURATION_ESTIMATED));

    kit::MakeAudio(folder / "deep.flac", 0.5, {"-ac", "2", "-ar", "96000", "-sample_fmt", "s32"});
    ASSERT_TRUE(decoder.Open(folder / "deep.flac"));
    alignas(8) DecoderParam param{};
    ASSERT_EQ(plugin.Get(decoder.get(), DECODER_GET_SOURCE_STREAM, &param), 1);
    EXPECT_EQ(std::u16string(param.text), u"flac");
    EXPECT_EQ(std::u16string(param.text2), u"96000 Hz, stereo, s32 (24 bit)");
    param.index = 1;
    EXPECT_EQ(plugin.Get(decoder.get(), DECODER_GET_SOURCE_STREAM, &param), 0);
    const Answer known = Ask(plugin, decoder, DECODER_GET_DURATION_ESTIMATED);
    EXPECT_TRUE(known.given && known.value == 0);

    kit::MakeAudio(folder / "bare.aac", 0.5, {});
    ASSERT_TRUE(decoder.Open(folder / "bare.aac"));
    EXPECT_EQ(Ask(plugin, decoder, DECODER_GET_DURATION_ESTIMATED).value, 1);

    kit::WriteFile(folder / "text.tta", "This is no audio.\n");
    EXPECT_FALSE(decoder.Open(folder / "text.tta"));
    EXPECT_FALSE(given(DECODER_GET_SOURCE_STREAM) || given(DECODER_GET_DURATION_ESTIMATED));
}

class Failures : public testing::Test {
  protected:
    Failures() { kit::MakeAudio(sound, 0.5, {"-ac", "2"}); }

    // The failure is `number`, in the words of the error log's last line.
    void ExpectLogged(const kit::Plugin& from, const kit::TestDecoder& decoder, int number) {
        const Answer failure = AskFailure(from, decoder);
        ASSERT_TRUE(failure.given);
        EXPECT_EQ(failure.value, number);
        const std::string log = decoder.ErrorLog();
        const std::size_t line = log.find_last_of('\n', log.size() - 2) + 1;  // 0 for a single line
        const std::string words = log.substr(line, log.rfind("  [") - line);
        EXPECT_FALSE(words.empty());
        EXPECT_EQ(Utf8(failure.text), words);
    }

    // Nothing was logged for it, and yet there are words.
    void ExpectSilent(const kit::Plugin& from, const kit::TestDecoder& decoder, int number) {
        const Answer failure = AskFailure(from, decoder);
        EXPECT_EQ(failure.value, number);
        EXPECT_FALSE(failure.text.empty());
        EXPECT_EQ(decoder.ErrorLog(), "");
    }

    void ExpectNone(const kit::TestDecoder& decoder) {
        const Answer failure = AskFailure(plugin, decoder);
        EXPECT_TRUE(failure.given);
        EXPECT_EQ(failure.value, DECODER_FAILURE_NONE);
        EXPECT_TRUE(failure.isNull);
    }

    const kit::Plugin plugin;
    const kit::TempFolder folder;
    const std::filesystem::path sound = folder / "sound.wav";
};

TEST_F(Failures, OfFilesHaveTheirNumbers) {
    const std::string bytes = kit::ReadFile(sound);
    kit::WriteFile(folder / "text.tta", "This is no audio.\n");
    kit::WriteFile(folder / "cut.wav", bytes.substr(0, 20));
    kit::WriteFile(folder / "not_matroska.mka", bytes);
    std::filesystem::create_directory(folder / "folder.tta");
    struct Case {
        std::filesystem::path file;
        int number;
    };
    const std::vector<Case> opened{{folder / "missing.tta", DECODER_FAILURE_FILE_NOT_FOUND},
                                   {folder / "folder.tta", DECODER_FAILURE_NO_ACCESS},
                                   {folder / "text.tta", DECODER_FAILURE_NOT_DECODABLE},
                                   {folder / "cut.wav", DECODER_FAILURE_NOT_DECODABLE},
                                   {folder / "not_matroska.mka", DECODER_FAILURE_TAG_UNREADABLE},
                                   {"", DECODER_FAILURE_INVALID_ARGUMENT}};
    kit::TestDecoder decoder(plugin);
    ExpectNone(decoder);
    for (const Case& c : opened) {
        SCOPED_TRACE(c.file);
        EXPECT_FALSE(decoder.Open(c.file));
        ExpectLogged(plugin, decoder, c.number);
        alignas(8) DecoderParam param{};
        EXPECT_EQ(plugin.Get(decoder.get(), u"no such key", &param), 0);
        decoder.Close();
        ExpectLogged(plugin, decoder, c.number);
        EXPECT_TRUE(decoder.Open(sound));
        ExpectNone(decoder);
    }
    const std::vector<Case> written{{folder / "missing.tta", DECODER_FAILURE_FILE_NOT_FOUND},
                                    {folder / "folder.tta", DECODER_FAILURE_NO_ACCESS},
                                    {folder / "not_matroska.mka", DECODER_FAILURE_TAG_NOT_WRITABLE},
                                    {sound, DECODER_FAILURE_NOT_SUPPORTED}};
    for (const Case& c : written) {
        SCOPED_TRACE(c.file);
        EXPECT_FALSE(decoder.WriteTags(c.file, {{"Title", "x", ""}}));
        ExpectLogged(plugin, decoder, c.number);
        EXPECT_FALSE(decoder.DeleteTags(c.file));
        ExpectLogged(plugin, decoder, c.number);
    }
    decoder.Close();
    EXPECT_FALSE(decoder.DecodeBlock());
    EXPECT_EQ(AskFailure(plugin, decoder).text, u"Nothing is open.") << "not what was logged before";
    kit::WriteFile(folder / "x.tta", std::string(1000, 'a'));
    EXPECT_TRUE(decoder.WriteTags(folder / "x.tta", {{"Title", "x", ""}}));
    ExpectNone(decoder);
}

TEST_F(Failures, OfOtherKindsHaveTheirNumbers) {
    {
        kit::TestDecoder decoder(plugin);
        EXPECT_FALSE(decoder.DecodeBlock());
        ExpectSilent(plugin, decoder, DECODER_FAILURE_NOT_OPEN);
        EXPECT_EQ(plugin.Open(decoder.get(), nullptr), 0);
        ExpectSilent(plugin, decoder, DECODER_FAILURE_INVALID_ARGUMENT);
        alignas(8) DecoderParam param{};
        EXPECT_EQ(plugin.Set(decoder.get(), u"eventquit", &param), 0);
        ExpectSilent(plugin, decoder, DECODER_FAILURE_NOT_SUPPORTED);

        const std::u16string quit = kit::FreshEventName();
        EXPECT_TRUE(decoder.SetEventQuit(quit));
        const platform::EventHandle event = platform::OpenNamedSignal(quit);
        platform::SetSignal(event);
        EXPECT_FALSE(decoder.Open(sound));
        ExpectSilent(plugin, decoder, DECODER_FAILURE_ABORTED);
        platform::ResetSignal(event);
        EXPECT_TRUE(decoder.Open(sound));
        platform::SetSignal(event);
        EXPECT_FALSE(decoder.DecodeBlock());
        ExpectSilent(plugin, decoder, DECODER_FAILURE_ABORTED);
        EXPECT_TRUE(Ask(plugin, decoder, DECODER_GET_WORKER_MESSAGES).given);
        platform::CloseSignal(event);
        kit::RemoveEvent(quit);
    }
    {
        kit::TestDecoder decoder(plugin);
        DecoderOpenInfo open{};
        open.flags = DECODER_OPEN_EXTERNAL_PACKETS;
        EXPECT_EQ(plugin.Open(decoder.get(), &open), 0);
        ExpectLogged(plugin, decoder, DECODER_FAILURE_NOT_SUPPORTED);
        open.flags = 0;
        EXPECT_EQ(plugin.Open(decoder.get(), &open), 0);
        ExpectLogged(plugin, decoder, DECODER_FAILURE_INVALID_ARGUMENT);
    }
    kit::WriteFile(folder / "no_program", "This is no program.\n");
    std::filesystem::permissions(folder / "no_program", std::filesystem::perms::owner_all);
    {
        const kit::PluginWithWorker broken(folder / "no_program");
        kit::TestDecoder decoder(broken.plugin());
        EXPECT_FALSE(decoder.Open(sound));
        ExpectLogged(broken.plugin(), decoder, DECODER_FAILURE_WORKER_NOT_STARTED);
        EXPECT_FALSE(Ask(broken.plugin(), decoder, DECODER_GET_WORKER_EXIT).given);
    }
    std::filesystem::create_directory(folder / "decoders");
    const std::filesystem::path alone = folder / "decoders" / kit::BuiltPlugin().filename();
    std::filesystem::copy_file(kit::BuiltPlugin(), alone);
    const kit::Plugin lonely(alone);
    kit::TestDecoder decoder(lonely);
    EXPECT_FALSE(decoder.Open(sound));
    ExpectLogged(lonely, decoder, DECODER_FAILURE_WORKER_MISSING);
}

TEST_F(Failures, LeaveNoBlobs) {
    kit::WriteFile(folder / "not_matroska.mka", kit::ReadFile(sound));
    kit::TestDecoder decoder(plugin);
    const auto pathOf = [](const std::filesystem::path& file) { return file.u16string(); };
    const std::u16string good = pathOf(sound);
    const std::u16string bad = pathOf(folder / "not_matroska.mka");
    const auto expectNone = [](const DecoderOpenInfo& record) {
        EXPECT_TRUE(record.tags == nullptr && record.tagsSize == 0);
        EXPECT_TRUE(record.info == nullptr && record.infoSize == 0);
    };
    DecoderOpenInfo record{};
    record.path = good.c_str();
    record.flags = DECODER_OPEN_TAGS | DECODER_OPEN_INFO;
    ASSERT_EQ(plugin.Open(decoder.get(), &record), 1);
    EXPECT_TRUE(record.tags != nullptr && record.info != nullptr);
    record.path = bad.c_str();
    EXPECT_EQ(plugin.Open(decoder.get(), &record), 0) << "the worker told of tags, the file's own fail";
    expectNone(record);
    record.path = good.c_str();
    ASSERT_EQ(plugin.Open(decoder.get(), &record), 1);
    for (const std::uint32_t flags : {0U, DECODER_OPEN_TAGS, DECODER_OPEN_INFO}) {
        record.flags = flags;
        record.path = good.c_str();
        ASSERT_EQ(plugin.Open(decoder.get(), &record), 1);
        EXPECT_EQ(record.tags != nullptr, flags == DECODER_OPEN_TAGS);
        EXPECT_EQ(record.info != nullptr, flags == DECODER_OPEN_INFO);
        if (flags == 0) expectNone(record);
        record.path = bad.c_str();
        EXPECT_EQ(plugin.Open(decoder.get(), &record), flags == 0 ? 1 : 0) << "tags that nobody wants";
    }
}

TEST_F(Failures, OfTheWorkerAreToldByItsExitAndItsMessages) {
    kit::TestDecoder decoder(plugin);
    EXPECT_FALSE(Ask(plugin, decoder, DECODER_GET_WORKER_EXIT).given) << "nothing was opened";
    EXPECT_FALSE(Ask(plugin, decoder, DECODER_GET_WORKER_MESSAGES).given);
    ASSERT_TRUE(decoder.Open(sound));
    decoder.ReadAll();
    const Answer regular = Ask(plugin, decoder, DECODER_GET_WORKER_EXIT);
    EXPECT_TRUE(regular.given);
    EXPECT_EQ(regular.value, 0);

    // Half a file, with its header whole: the worker ends as if all were well, and says what wasn't.
    kit::MakeAudio(folder / "whole.flac", 6, {"-ac", "2"});
    const std::string whole = kit::ReadFile(folder / "whole.flac");
    kit::WriteFile(folder / "cut.flac", whole.substr(0, whole.size() / 2));
    ASSERT_TRUE(decoder.Open(folder / "cut.flac"));
    const std::size_t bytes = decoder.ReadAll().size();
    const double played = static_cast<double>(bytes) * 1000 / decoder.info.format.wave.averageBytesPerSecond;
    EXPECT_LT(played, static_cast<double>(decoder.info.format.durationMs) * 0.9);
    EXPECT_TRUE(Ask(plugin, decoder, DECODER_GET_WORKER_EXIT).given);
    EXPECT_NE(Utf8(Ask(plugin, decoder, DECODER_GET_WORKER_MESSAGES).text).find("Stream #0:0"),
              std::string::npos);

    kit::WriteFile(folder / "text.tta", "This is no audio.\n");
    EXPECT_FALSE(decoder.Open(folder / "text.tta"));
    const Answer exit = Ask(plugin, decoder, DECODER_GET_WORKER_EXIT);
    EXPECT_TRUE(exit.given);
    EXPECT_NE(exit.value, 0);
    const std::string messages = Utf8(Ask(plugin, decoder, DECODER_GET_WORKER_MESSAGES).text);
    EXPECT_NE(messages.find("Invalid data found when processing input"), std::string::npos);
    EXPECT_EQ(messages.find("ffmpeg version"), std::string::npos);
    EXPECT_EQ(messages.find("configuration"), std::string::npos);
    decoder.Close();
    EXPECT_FALSE(Ask(plugin, decoder, DECODER_GET_WORKER_EXIT).given);
    EXPECT_FALSE(Ask(plugin, decoder, DECODER_GET_WORKER_MESSAGES).given);
}

TEST_F(Failures, OfDyingWorkersAreToldByCodeAndLastWords) {
    const kit::PluginWithWorker installed{STAND_IN_WORKER};
    const kit::Plugin& with = installed.plugin();
    kit::TestDecoder decoder(with);
    ASSERT_TRUE(decoder.Open(u"dies"));
    EXPECT_FALSE(decoder.ReadAll().empty());
    EXPECT_EQ(Ask(with, decoder, DECODER_GET_WORKER_EXIT).value, 3);

    ASSERT_TRUE(decoder.Open(u"killed"));
    EXPECT_FALSE(decoder.ReadAll().empty());
    const Answer exit = Ask(with, decoder, DECODER_GET_WORKER_EXIT);
    EXPECT_TRUE(exit.given);
    EXPECT_EQ(exit.value, KILLED_WORKER_CODE);
    const std::u16string messages = Ask(with, decoder, DECODER_GET_WORKER_MESSAGES).text;
    EXPECT_TRUE(messages.starts_with(u"end\n[x @ 0x1] something is wrong\n[x @ 0x1] ")) << Utf8(messages);
    EXPECT_TRUE(messages.ends_with(u" again\n")) << "no progress and no half a line";

    ASSERT_TRUE(decoder.Open(u"never-ends"));
    ASSERT_TRUE(decoder.DecodeBlock());
    EXPECT_FALSE(Ask(with, decoder, DECODER_GET_WORKER_EXIT).given) << "it runs";
    EXPECT_EQ(Ask(with, decoder, DECODER_GET_WORKER_MESSAGES).text, u"end\n");

    ASSERT_TRUE(decoder.Open(u"floods"));
    decoder.ReadAll();
    EXPECT_LE(Utf8(Ask(with, decoder, DECODER_GET_WORKER_MESSAGES).text).size(), 4096U);
}

}  // namespace
