#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "kit/plugin.h"
#include "kit/tools.h"

namespace {

constexpr const char* kLabel = "  [clDecoder_ffmpeg::SetPosition]\r\n";

std::string OpenError(const std::string& path, int code) {
    return "Error opening file '" + path +
           "', check no other program has it open. (win:" + std::to_string(code) + ")" + kLabel;
}

const std::string kUndecodable = std::string("File could not be decoded") + kLabel;

TEST(Failure, IsToldInTheRightWords) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    kit::MakeAudio(folder / "whole.wav", 0.1);
    kit::WriteFile(folder / "empty.tta", "");
    kit::WriteFile(folder / "text.tta", "This is no audio.\n");
    kit::WriteFile(folder / "cut.wav", kit::ReadFile(folder / "whole.wav").substr(0, 20));
    std::filesystem::create_directory(folder / "folder.tta");
    struct Case {
        std::string path;
        std::string text;
    };
    const auto path = [&](const char* name) { return kit::Utf8(folder / name); };
    const std::vector<Case> cases{{path("missing.tta"), OpenError(path("missing.tta"), 2)},
                                  {path("empty.tta"), kUndecodable},
                                  {path("text.tta"), kUndecodable},
                                  {path("cut.wav"), kUndecodable},
                                  {path("folder.tta"), OpenError(path("folder.tta"), 5)},
                                  {"HTTP://127.0.0.1:1/x.mka", kUndecodable},
                                  {"https://127.0.0.1:1/x", kUndecodable},
                                  {"", std::string("No file specified!") + kLabel}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        kit::TestDecoder decoder(plugin);
        EXPECT_FALSE(decoder.Open(std::filesystem::path(std::u8string(c.path.begin(), c.path.end()))));
        EXPECT_EQ(decoder.ErrorLog(), c.text);
        EXPECT_NE(decoder.TraceLog().find("for read access: *** Error: " + c.text), std::string::npos);
        decoder.ReadAll();  // whatever the failed run left gives its end
        EXPECT_TRUE(decoder.Open(folder / "whole.wav")) << "a failed run is cleaned up by the next";
        EXPECT_FALSE(decoder.ReadAll().empty());
    }
}

TEST(Failure, OfAMissingOrUnusableWorker) {
    const kit::TempFolder folder;
    kit::WriteFile(folder / "no_program", "This is no program.\n");
    std::filesystem::permissions(folder / "no_program", std::filesystem::perms::owner_all);
    {
        const kit::PluginWithWorker broken(folder / "no_program");
        kit::TestDecoder decoder(broken.plugin());
        EXPECT_FALSE(decoder.Open(folder / "x.tta"));
        EXPECT_EQ(decoder.ErrorLog(),
                  std::string("FFmpeg error: could not start the worker process") + kLabel);
        // ENOEXEC or ERROR_BAD_EXE_FORMAT.
        EXPECT_THAT(decoder.TraceLog(),
                    testing::AnyOf(testing::HasSubstr("The system's error code: 8  ["),
                                   testing::HasSubstr("The system's error code: 193  [")));
        EXPECT_FALSE(decoder.DecodeBlock());
    }
    std::filesystem::create_directory(folder / "decoders");
    const std::filesystem::path alone = folder / "decoders" / kit::BuiltPlugin().filename();
    std::filesystem::copy_file(kit::BuiltPlugin(), alone);
    const kit::Plugin plugin(alone);
    kit::TestDecoder decoder(plugin);
    EXPECT_FALSE(decoder.Open(folder / "x.tta"));
    EXPECT_EQ(decoder.ErrorLog(), std::string("FFmpeg error: file not found") + kLabel);
    EXPECT_FALSE(decoder.SetPosition(1));
}

}  // namespace
