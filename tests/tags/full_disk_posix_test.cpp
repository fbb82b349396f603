// Files that the system won't let grow or be opened, as any user and on any file system.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "kit/files.h"
#include "kit/plugin.h"
#include "tag_bytes.h"

namespace {

const std::string kAudio(5000, 'a');
const std::string kOldTag = Id3v1({.title = "Old"});

// No file may grow beyond `bytes`. SIGXFSZ keeps its default, which would end the process.
class SizeLimit {
  public:
    explicit SizeLimit(std::size_t bytes) {
        getrlimit(RLIMIT_FSIZE, &old_);
        rlimit limited = old_;
        limited.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~SizeLimit() { setrlimit(RLIMIT_FSIZE, &old_); }

  private:
    rlimit old_{};
};

class FullDiskPosix : public testing::Test {
  protected:
    kit::Plugin plugin_;
    kit::TestDecoder decoder_{plugin_};
    kit::TempFolder folder_;
    std::filesystem::path file_ = folder_ / "a.tta";
};

// Half a tag would hide a whole one from every reader, and a cut file would have none.
TEST_F(FullDiskPosix, FailedWriteIsToldAndLeavesTheFileAsItWas) {
    const kit::Tag cover = Binary("_albumart_1_Media", std::string(10000, 'p'));
    const kit::Tag title = Text("Title", "New");
    const std::string id3Log = "Could not write ID3 tag  [WriteStdTags]\r\n";
    const std::string apeLog = "Could not write APE tag  [WriteStdTags]\r\n";
    struct Case {
        const char* what;
        std::string tags;
        kit::Tag given;
        std::size_t room;
        std::string log;
    };
    const Case cases[] = {
        {"all", Ape({{"a", "b"}}) + kOldTag, cover, 400, apeLog},
        {"not even the old ones", Ape({{"a", "b"}}) + kOldTag, cover, 20, id3Log},
        {"version 1", Ape({{"a", "b"}}, {.version = 1000, .header = false}), cover, 60, apeLog},
        {"ID3v1 alone", kOldTag, cover, 300, apeLog},
        {"none", "", cover, 300, apeLog},
        {"a blank ID3v1 tag", Id3v1({}), title, 200, id3Log},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        kit::WriteFile(file_, kAudio + c.tags);
        kit::TestDecoder decoder(plugin_);
        bool written = true;
        {
            const SizeLimit limit(kAudio.size() + c.room);
            written = decoder.WriteTags(file_, {c.given});
        }
        EXPECT_FALSE(written);
        EXPECT_EQ(decoder.ErrorLog(), c.log);
        EXPECT_EQ(kit::ReadFile(file_), kAudio + c.tags);
    }
}

// Deleting is how a user makes room.
TEST_F(FullDiskPosix, DeletingNeedsNoRoom) {
    const std::string before = kAudio + Ape({{"a", "b"}, {"c", "d"}}) + kOldTag;
    kit::WriteFile(file_, before);
    const SizeLimit limit(before.size());
    EXPECT_TRUE(decoder_.DeleteTags(file_, {"a"}));
    EXPECT_EQ(kit::ReadFile(file_), kAudio + Ape({{"c", "d"}}) + kOldTag);
    EXPECT_TRUE(decoder_.DeleteTags(file_));
    EXPECT_EQ(kit::ReadFile(file_), kAudio);
}

TEST_F(FullDiskPosix, ReadOnlyFileIsToldAndStays) {
    kit::WriteFile(file_, kAudio + kOldTag);
    std::filesystem::permissions(file_,
                                 std::filesystem::perms::owner_read | std::filesystem::perms::others_read);
    // The superuser may write to any file.
    const uid_t user = geteuid();
    constexpr uid_t kNobody = 65534;
    if (user == 0) {
        std::filesystem::permissions(folder_.path(), std::filesystem::perms::others_all,
                                     std::filesystem::perm_options::add);
        ASSERT_EQ(seteuid(kNobody), 0);
    }
    const bool written = decoder_.WriteTags(file_, {Text("Title", "t")});
    const bool deleted = decoder_.DeleteTags(file_);
    if (user == 0) {
        ASSERT_EQ(seteuid(user), 0);
    }
    EXPECT_FALSE(written);
    EXPECT_FALSE(deleted);
    EXPECT_THAT(decoder_.ErrorLog(),
                testing::HasSubstr("Couldn't open file for updating: Error opening file '"));
    EXPECT_THAT(decoder_.ErrorLog(), testing::HasSubstr("(win:5)  [DeleteStdTags]\r\n"));
    EXPECT_EQ(kit::ReadFile(file_), kAudio + kOldTag);
}

}  // namespace
