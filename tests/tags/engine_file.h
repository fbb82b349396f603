// A file with a tag engine at work on it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kit/files.h"
#include "support/clfile.h"
#include "tag_bytes.h"
#include "tags/base_tag.h"

class EngineFile : public testing::Test {
  protected:
    // Runs `work(engine)` on a file of those bytes and gives the bytes after it.
    template <typename Engine, typename Work>
    std::string With(const std::string& bytes, Work work) {
        kit::WriteFile(path_, bytes);
        clFile file(path_.u16string());
        EXPECT_TRUE(file.Open(clFile::kRead | clFile::kWrite));
        {
            Engine engine(file);
            work(engine);
        }
        file.Close();
        return kit::ReadFile(path_);
    }

    template <typename Engine>
    std::string Written(const std::string& bytes, const std::vector<kit::Tag>& given, bool merge = true,
                        const char16_t* option = u"") {
        return With<Engine>(bytes, [&](BaseTag& engine) {
            IDTags tags;
            Fill(tags, given);
            engine.SetOption(option);
            EXPECT_TRUE(engine.Write(tags, merge));
        });
    }

    template <typename Engine>
    std::string Without(const std::string& bytes, const char16_t* name) {
        return With<Engine>(bytes, [&](BaseTag& engine) { engine.DeleteTag(name); });
    }

    template <typename Engine>
    std::vector<kit::Tag> Read(const std::string& bytes, bool wantVersion = false, bool result = true) {
        std::vector<kit::Tag> entries;
        const std::string after = With<Engine>(bytes, [&](BaseTag& engine) {
            IDTags tags;
            tags.AddText(u"stale", u"entry");
            EXPECT_EQ(engine.Read(tags, wantVersion), result);
            entries = Entries(tags);
        });
        EXPECT_EQ(after, bytes) << "reading changed the file";
        return entries;
    }

    kit::TempFolder folder_;
    std::filesystem::path path_ = folder_ / "file";
};
