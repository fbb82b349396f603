// The plug-in in folders of all kinds, loaded and unloaded.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kit/plugin.h"

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

TEST(Folder, IsFreeOnceTheLibraryIsUnloaded) {
    const kit::TempFolder folder;
    const std::filesystem::path plugin = InstallBelow(folder.path());
    int handles = 0;
    for (int round = 0; round < 10; ++round) {
        ASSERT_TRUE(Decodes(plugin));
        // What the first rounds leave is the process's own.
        if (round == 2) handles = kit::OpenHandles();
    }
    EXPECT_EQ(kit::OpenHandles(), handles) << "a library that was unloaded left something open";
    // Windows keeps the file of a loaded library.
    EXPECT_TRUE(std::filesystem::remove(plugin));
}

}  // namespace
