// The plug-in in folders of all kinds, loaded and unloaded.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kit/plugin.h"
#include "platform/event.h"

namespace {

std::filesystem::path InstallBelow(const std::filesystem::path& folder) {
    const std::filesystem::path plugin = folder / "decoders" / kit::BuiltPlugin().filename();
    std::filesystem::create_directories(plugin.parent_path());
    std::filesystem::copy_file(STAND_IN_WORKER, folder / "ffmpeg-lgpl.exe");
    std::filesystem::copy_file(kit::BuiltPlugin(), plugin);
    return plugin;
}

bool Decodes(const std::filesystem::path& path) {
    const kit::Plugin plugin(path);
    kit::TestDecoder decoder(plugin);
    return decoder.Open(u"dribble") && decoder.ReadAll().size() == 16384 && decoder.Close();
}

TEST(Folder, MayHaveAnyName) {
    const kit::TempFolder folder;
    for (const char16_t* name : {u"with blanks", u"M\u00E4rchen \u043C\u0443\u0437\u044B\u043A\u0430"}) {
        EXPECT_TRUE(Decodes(InstallBelow(folder / name))) << testing::PrintToString(name);
    }
}

// A host that looks at its plug-ins again and again. What a load left behind would end it some time: a
// process of Windows has 1,088 slots of thread-local storage.
TEST(Folder, MayBeLoadedFromAgainAndAgain) {
    const kit::TempFolder folder;
    const std::filesystem::path file = InstallBelow(folder.path());
    const std::u16string name = kit::FreshEventName();
    const platform::EventHandle quit = platform::OpenNamedSignal(name);
    platform::SetSignal(quit);
    int handles = 0;
    for (int round = 0; round < 1500; ++round) {
        const kit::Plugin plugin(file);
        const DecoderCreateInfo noLogs{};
        Decoder* const decoder = plugin.Create(&noLogs);
        ASSERT_NE(decoder, nullptr);
        DecoderParam param{};
        param.text = name.c_str();
        EXPECT_EQ(plugin.Set(decoder, DECODER_SET_EVENT_QUIT, &param), 1);
        DecoderOpenInfo open{};
        open.path = u"dribble";
        EXPECT_EQ(plugin.Open(decoder, &open), 0) << "it ends with an exception inside";
        EXPECT_EQ(plugin.Destroy(decoder), 1);
        // What the first rounds leave is the process's own.
        if (round == 10) handles = kit::OpenHandles();
    }
    EXPECT_EQ(kit::OpenHandles(), handles) << "a load left something open";
    platform::CloseSignal(quit);
    kit::RemoveEvent(name);
    EXPECT_TRUE(Decodes(file));
#ifndef _WIN32
    // There the first load lasts.
    EXPECT_TRUE(std::filesystem::remove(file));
#endif
}

}  // namespace
