// TagLib as a second opinion: it reads what we wrote, and we read what it wrote.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <taglib/apetag.h>
#include <taglib/id3v1tag.h>
#include <taglib/tpropertymap.h>
#include <taglib/wavpackfile.h>

#include "kit/files.h"
#include "kit/plugin.h"
#include "support/cllog.h"
#include "tag_bytes.h"
#include "tags/std_tags.h"

namespace {

using Tags = std::vector<kit::Tag>;

const std::string kAudio(3000, 'a');
const std::string kPicture = "\x89PNG" + std::string(500, '\0') + "end";

std::string Utf8(const TagLib::String& text) {
    return text.to8Bit(true);
}

class TagLibPosix : public testing::Test {
  protected:
    Tags ReadByUs() {
        IDTags tags;
        clString version;
        EXPECT_TRUE(ReadStdTags(std::u16string_view(file_.u16string()), tags, version, {}));
        return Entries(tags);
    }
    void WriteByUs(const Tags& entries) {
        IDTags tags;
        Fill(tags, entries);
        EXPECT_TRUE(WriteStdTags(std::u16string_view(file_.u16string()), tags, StdTagFamily::Ape, {}));
    }

    kit::TempFolder folder_;
    std::filesystem::path file_ = folder_ / "a.tta";
};

// The class for WavPack looks for both kinds of tag and, without properties, at nothing else.
using ApeAndId3v1File = TagLib::WavPack::File;

TEST_F(TagLibPosix, ReadsWhatWeWrote) {
    for (const std::string& behind : {std::string(), Id3v1({.title = "Old", .track = 3, .genre = 17})}) {
        for (const std::string& middle : {std::string(), Ape({{"Unknown", "u"}, {"Link", "x", 2}}),
                                          Ape({{"Unknown", "u" + kNul}}, {.version = 1000, .header = false}),
                                          std::string("APETAGEX junk TAG")}) {
            kit::WriteFile(file_, kAudio + middle + behind);
            WriteByUs({Text("Title", "T\xC3\xAFtle"), Text("Artist", "A\rB"),
                       Binary("_albumart_1_Media", kPicture), Binary("Blob", kPicture)});
            ApeAndId3v1File file(file_.c_str(), false);
            ASSERT_TRUE(file.hasAPETag());
            const TagLib::APE::ItemListMap& items = file.APETag()->itemListMap();
            const bool version2 = middle.find("\xE8\x03") == std::string::npos;
            if (version2) {
                EXPECT_EQ(Utf8(items["TITLE"].toString()), "T\xC3\xAFtle");
                ASSERT_EQ(items["ARTIST"].values().size(), 2U);
                EXPECT_EQ(Utf8(items["ARTIST"].values()[1]), "B");
            }
            const TagLib::ByteVector cover = items["COVER ART (FRONT)"].binaryData();
            EXPECT_EQ(std::string(cover.data(), cover.size()), "C:\\Pretend.png" + kNul + kPicture);
            EXPECT_EQ(items["BLOB"].binaryData().size(), kPicture.size());
            EXPECT_EQ(items.contains("UNKNOWN"), middle.find("Unknown") != std::string::npos);
            EXPECT_EQ(file.hasID3v1Tag(), !behind.empty());
            if (!behind.empty()) {
                EXPECT_EQ(Utf8(file.ID3v1Tag()->artist()), "A; B");
                EXPECT_EQ(file.ID3v1Tag()->track(), 3U);
            }
        }
    }
}

TEST_F(TagLibPosix, IsReadByUs) {
    for (const bool withApe : {false, true}) {
        for (const bool withId3v1 : {false, true}) {
            SCOPED_TRACE(testing::Message() << withApe << withId3v1);
            kit::WriteFile(file_, kAudio);
            {
                ApeAndId3v1File file(file_.c_str(), false);
                if (withId3v1) {
                    file.ID3v1Tag(true)->setTitle(TagLib::String("V\xC3\xA9", TagLib::String::UTF8));
                    file.ID3v1Tag()->setTrack(9);
                    file.ID3v1Tag()->setGenre("Rock");
                }
                if (withApe) {
                    TagLib::APE::Tag* ape = file.APETag(true);
                    ape->addValue("ARTIST", "A");
                    ape->addValue("ARTIST", "B", false);
                    ape->addValue("MOOD", TagLib::String("\xE4\xB8\x80", TagLib::String::UTF8));
                    const std::string cover = "x.png" + kNul + kPicture;
                    ape->setData("COVER ART (BACK)", {cover.data(), static_cast<unsigned>(cover.size())});
                }
                file.save();
            }
            const Tags tags = ReadByUs();
            if (withApe) {
                EXPECT_EQ(kit::ValueOf(tags, "ARTIST"), "A\rB");
                EXPECT_EQ(kit::ValueOf(tags, "MOOD"), "\xE4\xB8\x80");
                EXPECT_THAT(tags, testing::Contains(Binary("_albumart_1_Back Album Cover", kPicture)));
            }
            if (withId3v1) {
                EXPECT_EQ(kit::ValueOf(tags, "Title"), "V\xC3\xA9");
                EXPECT_EQ(kit::ValueOf(tags, "Track"), "9");
                EXPECT_EQ(kit::ValueOf(tags, "Genre"), "Rock");
            }
            EXPECT_EQ(tags.empty(), !withApe && !withId3v1);
            DeleteStdTags(std::u16string_view(file_.u16string()), nullptr, {});
            EXPECT_EQ(kit::ReadFile(file_), kAudio);
        }
    }
}

}  // namespace
