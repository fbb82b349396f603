#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kit/plugin.h"

namespace {

TEST(Surface, ListsWhatItDecodesInOrder) {
    const kit::Plugin plugin;
    kit::TestDecoder decoder(plugin);
    using Rows = std::vector<std::u16string>;
    const auto rows = [&](const DecoderChar* key) {
        Rows found;
        alignas(8) DecoderParam param{};
        for (; plugin.Get(decoder.get(), key, &param) == 1; ++param.index) {
            found.emplace_back(param.text);
            if (param.text2 != nullptr) found.back().append(u" ").append(param.text2);
        }
        alignas(8) DecoderParam beyond{};
        beyond.index = param.index;
        beyond.value = 7;
        EXPECT_EQ(plugin.Get(decoder.get(), key, &beyond), 0) << "behind the last row";
        EXPECT_TRUE(beyond.text == nullptr && beyond.text2 == nullptr && +beyond.value == 7);
        return found;
    };
    EXPECT_EQ(rows(DECODER_GET_DECODES),
              (Rows{u".tak Tom's Audio Kompressor", u".shn Shorten", u".ac3 AC-3", u".eac3 E-AC-3",
                    u".mka Matroska Audio", u".weba Web Audio", u".vqf TwinVQ", u".dts DTS", u".dtshd DTS-HD",
                    u".tta True Audio", u".mlp MLP", u".ts MPEG-TS", u".ra Real Audio", u".rm Real Audio",
                    u".voc Creative Voice", u".au AU/SND", u".snd AU/SND", u".amr AMR", u".awb AMR"}));
    EXPECT_EQ(rows(DECODER_GET_STREAMING_DECODES),
              (Rows{u"application/vnd.apple.mpegurl", u"audio/mpegurl", u"audio/x-mpegurl",
                    u"application/mpegurl", u"application/x-mpegurl"}));

    alignas(8) DecoderParam param{};
    EXPECT_EQ(plugin.Get(decoder.get(), DECODER_GET_DESCRIPTION, &param), 1);
    EXPECT_EQ(std::u16string(param.text), u"FFmpeg Decoder");
    EXPECT_EQ(plugin.Get(decoder.get(), u"decodes", &param), 0);
    EXPECT_EQ(plugin.Get(decoder.get(), u"Decodes ", &param), 0);
}

TEST(Surface, KnowsWhatItCanTag) {
    const kit::Plugin plugin;
    kit::TestDecoder decoder(plugin);
    const std::pair<const char16_t*, int> cases[] = {{u"x.MKA", 1},      {u"x.dtshd", 1}, {u"x.webm", 1},
                                                     {u"x.shn", 0},      {u"x", 0},       {u"a.tta\\x", 0},
                                                     {u"a.tta/x.dt", 0}, {u"", 0}};
    for (const auto& [path, expected] : cases) {
        alignas(8) DecoderParam param{};
        param.text = path;
        param.value = -1;
        EXPECT_EQ(plugin.Get(decoder.get(), DECODER_GET_CAN_WRITE_TAGS, &param), 1);
        EXPECT_EQ(param.value, expected) << std::string(path, path + std::u16string_view(path).size());
    }
    alignas(8) DecoderParam param{};
    EXPECT_EQ(plugin.Get(decoder.get(), DECODER_GET_CAN_WRITE_TAGS, &param), 0);
}

TEST(Surface, TakesNullForAnAnswer) {
    const kit::Plugin plugin;
    alignas(8) DecoderParam param{};
    DecoderOpenInfo open{};
    DecoderBlockInfo block{};
    EXPECT_EQ(plugin.Destroy(nullptr), 1);
    EXPECT_EQ(plugin.Create(nullptr), nullptr);
    EXPECT_EQ(plugin.Get(nullptr, DECODER_GET_DESCRIPTION, &param), 0);
    EXPECT_EQ(plugin.Set(nullptr, DECODER_SET_EVENT_QUIT, &param), 0);
    EXPECT_EQ(plugin.Open(nullptr, &open), 0);
    EXPECT_EQ(plugin.Close(nullptr), 0);
    EXPECT_EQ(plugin.DecodeBlock(nullptr, &block), 0);
    EXPECT_EQ(plugin.SetPosition(nullptr, 0), 0);
    EXPECT_EQ(plugin.DeleteATag(nullptr, u"x.tta", nullptr), 0);

    kit::TestDecoder decoder(plugin);
    EXPECT_EQ(plugin.Get(decoder.get(), nullptr, &param), 0);
    EXPECT_EQ(plugin.Get(decoder.get(), DECODER_GET_DESCRIPTION, nullptr), 0);
    EXPECT_EQ(plugin.Set(decoder.get(), DECODER_SET_TAGS, nullptr), 0);
    EXPECT_EQ(plugin.Set(decoder.get(), DECODER_SET_TAGS, &param), 0) << "no path and no blob";
    EXPECT_EQ(plugin.Open(decoder.get(), nullptr), 0);
    EXPECT_EQ(plugin.DecodeBlock(decoder.get(), nullptr), 0);
    EXPECT_EQ(plugin.DeleteATag(decoder.get(), nullptr, nullptr), 0);
    EXPECT_EQ(plugin.DecodeBlock(decoder.get(), &block), 0) << "nothing was opened";
    EXPECT_EQ(plugin.Set(decoder.get(), DECODER_SET_EVENT_QUIT, &param), 1) << "a null name changes nothing";
    EXPECT_EQ(plugin.Set(decoder.get(), u"eventquit", &param), 0);
    EXPECT_TRUE(decoder.Close());
}

TEST(Surface, WritesItsLogs) {
    // A copy of its own: in a library that stays loaded, failed opens of other tests have left their levels.
    const kit::PluginWithWorker installed(STAND_IN_WORKER);
    const kit::Plugin& plugin = installed.plugin();
    kit::TestDecoder decoder(plugin);
    DecoderOpenInfo open{};
    open.flags = DECODER_OPEN_EXTERNAL_PACKETS;
    EXPECT_EQ(plugin.Open(decoder.get(), &open), 0);
    open.flags = 0;
    EXPECT_EQ(plugin.Open(decoder.get(), &open), 0);
    alignas(8) DecoderParam param{};
    EXPECT_EQ(plugin.Get(decoder.get(), DECODER_GET_DESCRIPTION, &param), 1);
    EXPECT_EQ(plugin.DeleteATag(decoder.get(), u"x.shn", nullptr), 0);
    EXPECT_TRUE(decoder.Close());
    EXPECT_EQ(decoder.ErrorLog(),
              "Error cannot decode external-packet data.  [clDecoder_ffmpeg::Open]\r\n"
              "Attempting to open null file path.  [clDecoder_ffmpeg::Open]\r\n"
              "Tagging not supported for this format.  [clDecoder_ffmpeg::DeleteATag]\r\n");
    EXPECT_EQ(decoder.TraceLog(),
              "->->  [clDecoder_ffmpeg::Open]\r\n"
              "*** Error: Error cannot decode external-packet data.  [clDecoder_ffmpeg::Open]\r\n"
              "  ->->  [clDecoder_ffmpeg::Open]\r\n"
              "    Opening file '' for read access: *** Error: Attempting to open null file path.  "
              "[clDecoder_ffmpeg::Open]\r\n"
              "    Decoder Description  [clDecoder_ffmpeg::Get]\r\n"
              "*** Error: Tagging not supported for this format.  [clDecoder_ffmpeg::DeleteATag]\r\n"
              "    ->->  [clDecoder_ffmpeg::Close]\r\n"
              "    <-<-  [clDecoder_ffmpeg::Close]\r\n")
        << "a failed Open leaves its level open";
}

}  // namespace
