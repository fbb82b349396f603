// ID3v2 among the other kinds of tag, as a host sees it through the nine functions.
#include <gtest/gtest.h>

#include "id3v2_bytes.h"
#include "kit/plugin.h"
#include "kit/tools.h"
#include "tag_bytes.h"

namespace {

using namespace id3v2;

class Id3v2Flows : public testing::Test {
  protected:
    void SetUp() override {
        kit::MakeAudio(path_, 0.1, {"-fflags", "+bitexact"});  // without a tag of its own
        audio_ = kit::ReadFile(path_);
    }
    std::string Read() {
        EXPECT_TRUE(decoder_.Open(path_));
        decoder_.Close();
        return Shown(decoder_.Tags());
    }
    std::string After(const std::string& bytes, const std::vector<kit::Tag>& tags) {
        kit::WriteFile(path_, bytes);
        EXPECT_TRUE(decoder_.WriteTags(path_, tags));
        return kit::ReadFile(path_);
    }

    kit::TempFolder folder_;
    std::filesystem::path path_ = folder_ / "a.tta";
    std::string audio_;
    kit::Plugin plugin_;
    kit::TestDecoder decoder_{plugin_};
    const std::string id3v2_ = Tag(3, id3v2::Text(3, "TIT2", "two") + id3v2::Text(3, "TPE1", "A/B"));
};

TEST_F(Id3v2Flows, StandsBetweenApeAndId3v1) {
    const std::string tail =
        Ape({{"Title", "ape"}}) + Id3v1({.title = "one", .artist = "one", .album = "one"});
    kit::WriteFile(path_, id3v2_ + audio_ + tail);
    EXPECT_EQ(Read(), "Title=ape;Artist=A|B;Album=one");
    EXPECT_EQ(kit::ValueOf(decoder_.Info(), "ID Tag"), "APEv2 & ID3v2.3 & ID3v1.0");
    // Every kind that is there is updated.
    const std::string written = After(id3v2_ + audio_ + tail, {::Text("Title", "new")});
    EXPECT_EQ(Frames(written), (std::vector<std::string>{"TIT2=^new^", "TPE1=^A/B"}));
    EXPECT_EQ(written.substr(written.size() - 125, 5), std::string("new\0\0", 5));
    EXPECT_EQ(Read(), "Title=new;Artist=A|B;Album=one");
    EXPECT_TRUE(decoder_.DeleteTags(path_, {"Title", "artist", "Album"}));
    EXPECT_EQ(Read(), "");
    EXPECT_TRUE(kit::ReadFile(path_).starts_with(audio_)) << "the emptied tag is gone";
    kit::WriteFile(path_, id3v2_ + audio_ + tail);
    EXPECT_TRUE(decoder_.DeleteTags(path_));
    EXPECT_TRUE(kit::ReadFile(path_) == audio_);
}

TEST_F(Id3v2Flows, MakesAnApeTagOnlyForAFileWithNeither) {
    const std::string kept = After(id3v2_ + audio_, {::Text("Title", "new")});
    EXPECT_TRUE(kept == Tag(3, Frame(3, "TIT2", Nul("^new^")) + id3v2::Text(3, "TPE1", "A/B")) + audio_);
    EXPECT_EQ(Read(), "Artist=A|B;Title=new");
    EXPECT_TRUE(After(audio_, {::Text("Title", "new")}) == audio_ + Ape({{"Title", "new"}}));
    // An empty ID3v2 tag is one, too; written without frames it goes and nothing comes in its place.
    EXPECT_TRUE(After(Tag(3, "") + audio_, {::Text("Title", "")}) == audio_);
}

// What can't be deleted is told, and keeps nothing else in the file.
TEST_F(Id3v2Flows, TellsWhenTheTagHasToStay) {
    const std::string passing = std::string("ID3\x03\0\0\x7F\x7F\x7F\x7F", 10) + id3v2_.substr(10) + kNul;
    const std::string told = "Could not delete ID3v2 tag  [DeleteStdTags]\r\n";
    kit::WriteFile(path_, passing + audio_ + Ape({{"Title", "ape"}, {"Album", "a"}}));
    EXPECT_TRUE(decoder_.DeleteTags(path_, {"Album"}));
    EXPECT_EQ(decoder_.ErrorLog(), "");
    EXPECT_FALSE(decoder_.DeleteTags(path_, {"Title"}));
    EXPECT_EQ(decoder_.ErrorLog(), told);
    EXPECT_TRUE(kit::ReadFile(path_) == passing + audio_);
    EXPECT_FALSE(decoder_.DeleteTags(path_));
    EXPECT_EQ(decoder_.ErrorLog(), told + told);
    EXPECT_TRUE(kit::ReadFile(path_) == passing + audio_);
}

TEST_F(Id3v2Flows, ReadsPicturesAndTheTableOfContentsWhole) {
    const std::string image(300000, '\xFF');
    const std::string toc = "toc";
    After(id3v2_ + audio_, {Binary("_albumart_1_Conductor<subdesc>At work", image), Binary("_cdtoc", toc)});
    EXPECT_EQ(Read(), "Artist=A|B;Title=two;_albumart_1_Conductor<subdesc>At work(300000);_cdtoc(3)");
    EXPECT_EQ(decoder_.Tags()[2].data, image);
    // A damaged tag is none; the file's own tags don't fail for it.
    kit::WriteFile(path_, Tag(3, "TIT2\x7F\x7F\x7F\x7Fxx") + audio_);
    EXPECT_EQ(Read(), "");
}

}  // namespace
