// Names from which a worker's command line would get further arguments, or another program.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include "kit/plugin.h"
#include "kit/tools.h"

namespace {

const std::string kRefused =
    "FFmpeg error: a character in the path, or in that of the worker's folder, would change the worker's "
    "command "
    "line  [clDecoder_ffmpeg::SetPosition]\r\n";

std::map<std::filesystem::path, std::string> Contents(const std::filesystem::path& folder) {
    std::map<std::filesystem::path, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        files[entry.path()] = entry.is_regular_file() ? kit::ReadFile(entry.path()) : std::string();
    }
    return files;
}

// Every name asks FFmpeg to overwrite victim.wav with what it decodes.
TEST(InjectionWindows, TouchesNothingButTheInput) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    kit::MakeAudio(folder / "x.wav", 0.2);
    kit::WriteFile(folder / "victim.wav", "years of a collection");
    const auto before = Contents(folder.path());
    const std::u16string input = (folder / "x.wav").u16string();
    const std::u16string victim = (folder / "victim.wav").u16string();
    const std::u16string names[] = {
        input + u"\U00010020-y\U00010020" + victim,
        input + u"\U00050020-y\U00100020" + victim,
        input + u"\U00010009-y\U00010009" + victim,
        input + u"\" -y \"" + victim,
        input + u"\U00010022 -y \U00010022" + victim,
        input + u"\U00010022\t-y\t" + victim,
        input + u"\t-y\t" + victim,
        u"file:" + input + u"\" -y \"" + victim,
        u"http://127.0.0.1:1/x\" -f lavfi -i anullsrc=d=1 -y \"" + victim,
        u"http://127.0.0.1:1/"
        u"x\U00010020-f\U00010020lavfi\U00010020-i\U00010020anullsrc=d=1\U00010020-y\U00010020" +
            victim,
        input + u"\U00010000.mka",
        folder.path().u16string() + u"\U0001005Cx.wav",
        folder.path().u16string() + u"\\\U00010078.wav"};
    for (const std::u16string& name : names) {
        SCOPED_TRACE(testing::PrintToString(name));
        kit::TestDecoder decoder(plugin);
        EXPECT_FALSE(decoder.Open(name));
        EXPECT_EQ(decoder.ErrorLog(), kRefused);
        EXPECT_FALSE(decoder.SetPosition(1));
        EXPECT_FALSE(decoder.DecodeBlock());
        EXPECT_TRUE(Contents(folder.path()) == before);
        EXPECT_TRUE(decoder.Open(input)) << decoder.ErrorLog();
    }
}

// The plug-in that lies in "x<U+1005C>y\decoders" would start the worker of another folder, "x\y".
TEST(InjectionWindows, StartsNoOtherProgram) {
    const kit::TempFolder folder;
    std::filesystem::create_directories(folder / "x" / "y");
    std::filesystem::copy_file(STAND_IN_WORKER, folder / "x" / "y" / "ffmpeg-lgpl.exe");
    const std::filesystem::path decoders = folder / u"x\U0001005Cy" / "decoders";
    std::filesystem::create_directories(decoders);
    std::filesystem::copy_file(kit::BuiltPlugin(), decoders / kit::BuiltPlugin().filename());
    const kit::Plugin plugin(decoders / kit::BuiltPlugin().filename());
    kit::TestDecoder decoder(plugin);
    EXPECT_FALSE(decoder.Open(u"dribble"));
    EXPECT_EQ(decoder.ErrorLog(), kRefused);
}

}  // namespace
