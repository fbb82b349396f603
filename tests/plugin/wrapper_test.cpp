// The C++ wrapper as a host's author meets it, compiled as C++17: against the real plug-in.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "decoder_plugin.hpp"
#include "kit/files.h"
#include "kit/tools.h"

namespace dp = decoder_plugin;

namespace {

std::string Everything(dp::Decoder& decoder) {
    std::string samples;
    for (const dp::Block& block : decoder.Blocks()) {
        samples.append(reinterpret_cast<const char*>(block.samples.data()), block.samples.size());
    }
    return samples;
}

class Wrapper : public testing::Test {
  protected:
    kit::TempFolder folder_;
    dp::Plugin plugin_{DECODER_PLUGIN_FILE};
    dp::Decoder decoder_{plugin_};
};

TEST_F(Wrapper, DecodesAndSeeks) {
    const auto file = folder_ / "a b.tta";
    kit::MakeAudio(file, 1.0);
    const dp::Stream stream = decoder_.Open(file);
    EXPECT_EQ(stream.format.wave.blockAlign, 2u);
    EXPECT_EQ(Everything(decoder_), kit::ReferenceSamples(kit::Utf8(file)));
    decoder_.SetPosition(22050);
    // A decoder that moves takes its run with it.
    dp::Decoder other = std::move(decoder_);
    EXPECT_EQ(Everything(other), kit::ReferenceSamples(kit::Utf8(file), "0.5"));
}

// Catches a library that goes while a decoder of it lives.
TEST_F(Wrapper, ADecoderKeepsItsLibrary) {
    std::optional<dp::Decoder> decoder;
    {
        const std::optional<dp::Plugin> plugin = dp::Plugin::TryLoad(DECODER_PLUGIN_FILE);
        ASSERT_TRUE(plugin);
        decoder.emplace(*plugin);
    }
    EXPECT_EQ(decoder->Decodes().size(), 19u);
    EXPECT_EQ(decoder->StreamingDecodes().size(), 5u);
    EXPECT_FALSE(decoder->Description().empty());
}

TEST_F(Wrapper, WritesReadsAndDeletesTags) {
    const auto file = folder_ / std::filesystem::u8path("\xC3\xA9.tta");
    kit::MakeAudio(file, 0.2);
    const std::vector<std::byte> picture = {std::byte{0xFF}, std::byte{0xD8}, std::byte{0xFF},
                                            std::byte{0xE0}};
    dp::BlobBuilder blob;
    blob.Add("Artist", std::vector<std::string>{"One", "Zw\xC3\xB6lf"}).Add("Mood", "calm");
    blob.Add("_albumart_1_Front Album Cover", "", picture);
    ASSERT_TRUE(decoder_.CanWriteTags(file));
    EXPECT_FALSE(decoder_.CanWriteTags("a.flac"));
    decoder_.WriteTags(file, blob);
    decoder_.DeleteTags(file, {"Mood"});
    decoder_.DeleteTags(file, {});

    std::size_t seen = 0;
    const dp::Stream stream = decoder_.Open(file, DECODER_OPEN_TAGS);
    for (const dp::Entry& entry : stream.tags) {
        EXPECT_NE(entry.name, "Mood");
        if (entry.name == "Artist") {
            EXPECT_THAT(entry.Values(), testing::ElementsAre("One", "Zw\xC3\xB6lf"));
            ++seen;
        } else if (!entry.data.empty()) {
            EXPECT_TRUE(std::equal(picture.begin(), picture.end(), entry.data.begin(), entry.data.end()));
            ++seen;
        }
    }
    EXPECT_EQ(seen, 2u);
    decoder_.Close();
    decoder_.DeleteAllTags(file);
    EXPECT_TRUE(decoder_.Open(file, DECODER_OPEN_TAGS).tags.empty());
}

TEST_F(Wrapper, FailuresAreErrorsOrEmptyByChoice) {
    EXPECT_THROW(decoder_.Open(folder_ / "missing.tta"), dp::Error);
    EXPECT_FALSE(decoder_.TryOpen(folder_ / "missing.tta"));
    EXPECT_THROW(decoder_.DeleteAllTags(folder_ / "missing.tta"), dp::Error);
    EXPECT_THROW(dp::Plugin(folder_ / "missing.so"), dp::Error);
    EXPECT_FALSE(dp::Plugin::TryLoad(folder_ / "missing.so"));
    EXPECT_THROW(dp::Source::Url("\xFF"), dp::Error);
}

// Catches an event that the decoder can't find, and one that stays set.
TEST_F(Wrapper, TheQuitEventEndsAWaitAndComesBack) {
    const auto file = folder_ / "a.tta";
    kit::MakeAudio(file, 60);
    dp::QuitEvent quit;
    dp::QuitEvent other;
    decoder_.Use(quit);
    other.Set();
    decoder_.Open(file);
    ASSERT_TRUE(decoder_.TryDecodeBlock());
    std::thread setter([&] { quit.Set(); });
    while (decoder_.TryDecodeBlock()) {
    }
    setter.join();
    EXPECT_FALSE(decoder_.TryOpen(file));
    quit.Reset();
    EXPECT_TRUE(decoder_.TryOpen(file));
}

}  // namespace
