// Whole tag jobs through the nine functions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kit/files.h"
#include "kit/plugin.h"
#include "kit/tools.h"
#include "support/clfile.h"
#include "support/cllog.h"
#include "tag_bytes.h"
#include "tags/id3v2/tag_id3v2.h"
#include "tags/std_tags.h"
#include "tags/tag_apev2.h"
#include "tags/tag_id3v1.h"

namespace {

using Tags = std::vector<kit::Tag>;
using testing::HasSubstr;

const std::string kAudio(1000, 'a');
const std::string kOldTag =
    Id3v1({.title = "Old", .artist = "A; B", .comment = "c", .track = 7, .genre = 17});

class Flows : public testing::Test {
  protected:
    std::string Written(const std::string& bytes, const Tags& tags) {
        kit::WriteFile(file_, bytes);
        EXPECT_TRUE(decoder_.WriteTags(file_, tags));
        return kit::ReadFile(file_);
    }
    std::string Deleted(const std::string& bytes, const std::vector<std::string>& names = {}) {
        kit::WriteFile(file_, bytes);
        EXPECT_TRUE(decoder_.DeleteTags(file_, names));
        return kit::ReadFile(file_);
    }

    kit::Plugin plugin_;
    kit::TestDecoder decoder_{plugin_};
    kit::TempFolder folder_;
    std::filesystem::path file_ = folder_ / u8"t\u00e4g \u4e00.TTA";
};

TEST_F(Flows, UpdatesWhatIsThereAndCreatesApeOnly) {
    const Tags tags{Text("Title", "New"), Text("Mood", "x")};
    const std::string ape = Ape({{"Title", "New"}, {"Mood", "x"}});
    const std::string newId3v1 =
        Id3v1({.title = "New", .artist = "A; B", .comment = "c", .track = 7, .genre = 17});
    EXPECT_EQ(Written(kAudio, tags), kAudio + ape);
    EXPECT_EQ(Written("", tags), ape);
    EXPECT_EQ(Written(kAudio + kOldTag, tags), kAudio + ape + newId3v1);
    EXPECT_EQ(Written("abc" + kOldTag, tags), "abc" + ape + newId3v1) << "less than a footer in front";
    EXPECT_EQ(Written(kAudio + Ape({{"Unknown", "u", 2}, {"title", "Old"}}) + kOldTag, tags),
              kAudio + Ape({{"Unknown", "u", 2}, {"Title", "New"}, {"Mood", "x"}}) + newId3v1);
    EXPECT_EQ(Written(kAudio + kOldTag + "junk", tags), kAudio + kOldTag + "junk" + ape);
}

TEST_F(Flows, MakeTheKindOfTagThatTheFamilyHas) {
    const std::pair<StdTagFamily, std::string> cases[] = {
        {StdTagFamily::Ape, "APE"}, {StdTagFamily::Reserved, ""}, {StdTagFamily::Id3v2, "ID3v2"}};
    for (const auto& [family, made] : cases) {
        kit::WriteFile(file_, kAudio);
        IDTags tags;
        tags.AddText(u"Title", u"New");
        EXPECT_TRUE(WriteStdTags(file_.u16string().c_str(), tags, family, {}));
        clFile file(file_.u16string());
        ASSERT_TRUE(file.Open(clFile::kRead));
        TagID3v1 id3v1(file);
        TagID3v2 id3v2(file);
        TagAPEv2 ape(file);
        std::string found;
        for (BaseTag* engine : std::initializer_list<BaseTag*>{&id3v1, &id3v2, &ape}) {
            if (engine->Exists()) found += engine->TagName().Utf8();
        }
        EXPECT_EQ(found, made);
        EXPECT_EQ(id3v1.TagName(), clString(u"ID3v1"));
    }
}

// An APE tag is found at the end of a file and in front of one ID3v1 tag there, not of two.
TEST_F(Flows, BlankId3v1TagDoesNotHideTheApeTag) {
    const std::string blank = Id3v1({});
    const std::string title = Id3v1({.title = "t"});
    const std::string ape = Ape({{"Mood", "x"}, {"Title", "t"}});
    EXPECT_EQ(Written(kAudio + Ape({{"Mood", "x"}}) + blank, {Text("Title", "t")}), kAudio + ape + title);
    EXPECT_EQ(Written(kAudio + Ape({{"Mood", "x"}}) + blank, {Text("Mood", "y")}),
              kAudio + Ape({{"Mood", "y"}}) + blank);
    EXPECT_EQ(Written(kAudio + blank, {Text("Title", "t")}), kAudio + blank + Ape({{"Title", "t"}}) + title);
}

TEST_F(Flows, WhatOneEngineRefusesNoneWrites) {
    const std::string bytes = kAudio + Ape({{"Title", "Old"}}) + kOldTag;
    kit::WriteFile(file_, bytes);
    EXPECT_FALSE(decoder_.WriteTags(file_, {Text("Title", "t"), Text("Large", std::string(0x1000001, 'x'))}));
    EXPECT_EQ(decoder_.ErrorLog(), "Could not write APE tag  [WriteStdTags]\r\n");
    EXPECT_TRUE(kit::ReadFile(file_) == bytes);
}

TEST_F(Flows, WriteAndDeleteGoInCircles) {
    const Tags tags{Text("Artist", "A\rB"), Text("rating", "7"),
                    Binary("_albumart_1_Front Album Cover", "\x89PNG"),
                    Text("Large", std::string(70000, 'x'))};
    for (const std::string& original :
         {std::string(), kAudio, kAudio + "APETAGEX junk", kAudio + kOldTag + "x"}) {
        const std::string once = Written(original, tags);
        EXPECT_EQ(Written(once, tags), once) << "the same tags twice";
        EXPECT_EQ(Deleted(once), original.size() + once.size() < 131 ? once : original);
        EXPECT_EQ(Written(original, tags), once);
    }
    const std::string both = kAudio + Ape({{"a", "b"}}) + kOldTag;
    EXPECT_EQ(Deleted(both), kAudio);
    const std::string withoutTitle = Id3v1({.artist = "A; B", .comment = "c", .track = 7, .genre = 17});
    EXPECT_EQ(Deleted(both, {"TITLE", "A", "absent"}), kAudio + withoutTitle);
    EXPECT_EQ(Deleted(both, {"[Empty]", "absent"}), both);
}

// Reading from memory made by hand: the library's own flow, without a worker.
TEST_F(Flows, FirstSourceOfANameWins) {
    struct Case {
        std::string bytes;
        Tags tags;
        const char16_t* version;
    };
    const Tags old{Text("Title", "Old"), Text("Artist", "A\rB"), Text("Comment", "c"), Text("Genre", "Rock"),
                   Text("Track", "7")};
    const Case cases[] = {
        {kAudio, {}, u""},
        {kAudio + Ape({}), {}, u""},
        {kAudio + kOldTag, old, u"ID3v1.1"},
        {kAudio + Ape({{"tItle", "1"}, {"Title", "2"}, {"\xC3\x84", "3"}, {"\xC3\xA4", "4"}}) + kOldTag,
         {Text("tItle", "1"), Text("\xC3\x84", "3"), Text("\xC3\xA4", "4"), old[1], old[2], old[3], old[4]},
         u"APEv2 & ID3v1.1"},
        {kAudio + Ape({{"a", "1"}}, {.version = 1000, .header = false}), {Text("a", "1")}, u"APEv1"},
    };
    for (const Case& c : cases) {
        kit::WriteFile(file_, c.bytes);
        IDTags tags;
        clString version;
        EXPECT_TRUE(ReadStdTags(std::u16string_view(file_.u16string()), tags, version, {}));
        EXPECT_EQ(Entries(tags), c.tags);
        EXPECT_EQ(version, clString(c.version));
    }
}

TEST_F(Flows, FailuresAreLoggedAndTold) {
    const std::filesystem::path absent = folder_ / "absent.tta";
    const std::string notOpened = "Couldn't open file for updating: Error opening file '" +
                                  kit::Utf8(absent) + "', check no other program has it open. (win:2)";
    EXPECT_FALSE(decoder_.WriteTags(absent, {}));
    EXPECT_FALSE(decoder_.DeleteTags(absent));
    EXPECT_EQ(decoder_.ErrorLog(), notOpened + "  [WriteStdTags]\r\n" + notOpened + "  [DeleteStdTags]\r\n");
    EXPECT_FALSE(std::filesystem::exists(absent));

    kit::TestDecoder other(plugin_);
    kit::WriteFile(folder_ / "a.flac", kAudio);
    EXPECT_FALSE(other.WriteTags(folder_ / "a.flac", {Text("Title", "t")}));
    EXPECT_FALSE(other.DeleteTags(folder_ / "a.flac"));
    EXPECT_EQ(other.ErrorLog(),
              "Tagging not supported for this format.  [clDecoder_ffmpeg::WriteIDTags]\r\n"
              "Tagging not supported for this format.  [clDecoder_ffmpeg::DeleteATag]\r\n");
    EXPECT_EQ(kit::ReadFile(folder_ / "a.flac"), kAudio);
    std::filesystem::create_directory(folder_ / "folder.dts");
    EXPECT_FALSE(other.WriteTags(folder_ / "folder.dts", {Text("Title", "t")}));
}

// The information keeps what the worker told, and the tags of the file replace the worker's.
TEST_F(Flows, OpenGivesTheFilesOwnTags) {
    kit::MakeAudio(file_, 0.2, {"-metadata", "title=Worker"});
    const std::string original = kit::ReadFile(file_);
    kit::WriteFile(file_, original + Ape({{"Title", "Own"}}) + kOldTag);
    ASSERT_TRUE(decoder_.Open(file_)) << decoder_.ErrorLog();
    EXPECT_EQ(kit::ValueOf(decoder_.Tags(), "Title"), "Own");
    EXPECT_EQ(kit::ValueOf(decoder_.Tags(), "Track"), "7");
    EXPECT_THAT(kit::ValueOf(decoder_.Info(), "ID Tag"), HasSubstr("APEv2"));
    EXPECT_EQ(kit::ValueOf(decoder_.Info(), "Encoder"), "tta");
    decoder_.Close();
    for (const std::uint32_t flags : {DECODER_OPEN_TAGS, DECODER_OPEN_INFO}) {
        ASSERT_TRUE(decoder_.Open(file_, flags));
        EXPECT_EQ(decoder_.info.tags != nullptr, flags == DECODER_OPEN_TAGS);
        EXPECT_EQ(decoder_.info.info != nullptr, flags == DECODER_OPEN_INFO);
        decoder_.Close();
    }

    kit::WriteFile(file_, original + Ape({{"Title", "Own"}}, {.version = 2000, .header = true, .size = 31}));
    EXPECT_FALSE(decoder_.Open(file_));
    EXPECT_THAT(decoder_.ErrorLog(), HasSubstr("Reading tags failed.  [ReadStdTags]\r\n"));
}

TEST_F(Flows, AudioSurvivesEveryTagJob) {
    struct Case {
        const char* name;
        std::vector<std::string> options;
    };
    const Case cases[] = {{"a.tta", {"-fflags", "+bitexact"}},
                          {"b.dts", {"-strict", "-2", "-c:a", "dca", "-ar", "48000"}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::filesystem::path file = folder_ / c.name;
        kit::MakeAudio(file, 1.0, c.options);
        const std::string original = kit::ReadFile(file);
        const std::string samples = kit::ReferenceSamples(kit::Utf8(file));
        ASSERT_FALSE(samples.empty());
        const auto decoded = [&] {
            EXPECT_TRUE(decoder_.Open(file)) << decoder_.ErrorLog();
            const std::string all = decoder_.ReadAll();
            decoder_.Close();
            return all;
        };
        const std::string picture = "\x89PNG" + std::string(100000, 'p');
        ASSERT_TRUE(decoder_.WriteTags(file, {Text("Title", "t"), Binary("_albumart_1_Media", picture)}));
        EXPECT_EQ(decoded(), samples) << "tagged";
        ASSERT_TRUE(decoder_.WriteTags(file, {Text("Title", "another"), Text("Artist", "A\rB")}));
        EXPECT_EQ(decoded(), samples) << "retagged";
        ASSERT_TRUE(decoder_.DeleteTags(file, {"Title"}));
        EXPECT_EQ(decoded(), samples) << "one name deleted";
        ASSERT_TRUE(decoder_.DeleteTags(file));
        EXPECT_EQ(kit::ReadFile(file), original);
    }
}

}  // namespace
