// TagLib as a second opinion: it reads what we wrote, in every version and encoding, and we read what it
// wrote.
#include <gtest/gtest.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/commentsframe.h>
#include <taglib/id3v2tag.h>
#include <taglib/popularimeterframe.h>
#include <taglib/privateframe.h>
#include <taglib/textidentificationframe.h>
#include <taglib/tpropertymap.h>
#include <taglib/trueaudiofile.h>
#include <taglib/unsynchronizedlyricsframe.h>
#include <taglib/urllinkframe.h>

#include "engine_file.h"
#include "id3v2_bytes.h"
#include "kit/tools.h"
#include "tags/art_key.h"
#include "tags/id3v2/tag_id3v2.h"

namespace {

using namespace id3v2;
namespace TL = TagLib::ID3v2;
using TagLib::String;

const std::string kImage = std::string("\x89PNG\xFF\xFF") + std::string(3000, '\0') + "\xFF";
constexpr int kPictureTypes = 21;

String Wide(const std::string& text) {
    return String(text, String::UTF8);
}
std::string ArtKey(int number, int type, const std::string& description) {
    const std::u16string_view part = PictureTypeKeyPart(type);
    clString text;
    text.SetFromUtf8(description);
    return MakeArtKey(number, part.empty() ? u"_Undefined" : part, text).Utf8();
}

class Id3v2TagLibPosix : public EngineFile {
  protected:
    void SetUp() override {
        kit::MakeAudio(path_.replace_extension(".tta"), 0.05);
        audio_ = kit::ReadFile(path_);
    }
    std::string audio_;
};

TEST_F(Id3v2TagLibPosix, ReadsWhatWeWrote) {
    for (const int version : {3, 4}) {
        for (const char16_t* encoding : {u"", u"ID3v2EncodeUni", u"ID3v2EncodeUTF8"}) {
            SCOPED_TRACE(testing::Message() << version << " " << clString(encoding).Utf8());
            const std::string accent = "\xC3\xA9";
            const std::string wide = accent + "\xE4\xB8\x80";
            std::vector<kit::Tag> tags{
                ::Text("Title", wide),   ::Text("Artist", wide + "\rB"),
                ::Text("Year", "2001"),  ::Text("Genre", "Rock"),
                ::Text("Comment", wide), ::Text("Lyrics", "la " + wide),
                ::Text("Mood", wide),    ::Text("Track", "3/12"),
                ::Text("Rating", "10"),  ::Text("Official artist/performer webpage", "http://a")};
            for (int type = 0; type < kPictureTypes; ++type)
                tags.push_back(Binary(ArtKey(1, type, "d"), kImage));
            const std::string written = Written<TagID3v2>(Tag(version, "") + audio_, tags, false, encoding);
            kit::WriteFile(path_, written);
            TagLib::TrueAudio::File file(path_.c_str());
            ASSERT_TRUE(file.hasID3v2Tag());
            TL::Tag& tag = *file.ID3v2Tag();
            EXPECT_EQ(tag.header()->majorVersion(), static_cast<unsigned>(version));
            EXPECT_EQ(tag.title(), Wide(wide));
            const auto& artist = dynamic_cast<TL::TextIdentificationFrame&>(*tag.frameList("TPE1")[0]);
            EXPECT_EQ(artist.fieldList().toString("|"), Wide(wide + (version == 3 ? "/B" : "|B")));
            EXPECT_EQ(tag.year(), 2001U);
            EXPECT_EQ(tag.genre(), "Rock");
            EXPECT_EQ(tag.comment(), Wide(wide));
            EXPECT_EQ(tag.track(), 3U);
            EXPECT_EQ(tag.properties()["LYRICS"].toString(), Wide("la " + wide));
            EXPECT_EQ(tag.properties()["MOOD"].toString(), Wide(wide));
            EXPECT_EQ(tag.properties()["ARTISTWEBPAGE"].toString(), "http://a");
            EXPECT_EQ(dynamic_cast<TL::PopularimeterFrame&>(*tag.frameList("POPM")[0]).rating(), 255);
            const TL::FrameList& pictures = tag.frameList("APIC");
            ASSERT_EQ(pictures.size(), static_cast<unsigned>(kPictureTypes));
            const auto& front = dynamic_cast<TL::AttachedPictureFrame&>(*pictures[0]);
            EXPECT_EQ(front.type(), TL::AttachedPictureFrame::FrontCover);
            for (const TL::Frame* frame : pictures) {
                const auto& picture = dynamic_cast<const TL::AttachedPictureFrame&>(*frame);
                EXPECT_EQ(picture.mimeType(), "image/png");
                EXPECT_EQ(picture.description(), "d");
                EXPECT_EQ(picture.picture(),
                          TagLib::ByteVector(kImage.data(), static_cast<unsigned>(kImage.size())));
            }
        }
    }
}

// Frames that stay and hold what looks unsynchronised, beside a new one that has to be unsynchronised.
TEST_F(Id3v2TagLibPosix, ReadsKeptBytesThatLookUnsynchronised) {
    const std::string jpeg("\xFF\xD8\xFF\xE0\xFF\0\xFF\0\0 JPEG", 14);
    for (const int version : {2, 3, 4}) {
        SCOPED_TRACE(version);
        const std::string front = version == 2 ? Nul("^JPG\x04^") : Nul("^image/jpeg^\x04^");
        const std::string title =
            Frame(version, version == 2 ? "TT2" : "TIT2", "\x01\xFF\xFE" + Nul("^N\xFF^"));
        const std::string old = Frame(version, version == 2 ? "PIC" : "APIC", front + jpeg) + title +
                                (version == 2 ? "" : Frame(version, "PRIV", "o" + kNul + jpeg));
        kit::WriteFile(path_, Written<TagID3v2>(Tag(version, old) + audio_,
                                                {Binary("_albumart_1_Front Album Cover", jpeg)}, false));
        TagLib::TrueAudio::File file(path_.c_str());
        ASSERT_TRUE(file.hasID3v2Tag());
        const TagLib::ByteVector expected(jpeg.data(), static_cast<unsigned>(jpeg.size()));
        const TL::FrameList& pictures = file.ID3v2Tag()->frameList("APIC");
        ASSERT_EQ(pictures.size(), 2U);
        for (const TL::Frame* frame : pictures) {
            EXPECT_EQ(dynamic_cast<const TL::AttachedPictureFrame&>(*frame).picture(), expected);
        }
        EXPECT_EQ(file.ID3v2Tag()->title(), Wide("\xE4\xB8\x80\xC3\xBF"));
        if (version == 2) continue;
        EXPECT_EQ(dynamic_cast<TL::PrivateFrame&>(*file.ID3v2Tag()->frameList("PRIV")[0]).data(), expected);
    }
}

TEST_F(Id3v2TagLibPosix, IsReadByUs) {
    for (const auto version : {TL::v3, TL::v4}) {
        for (const auto encoding : {String::Latin1, String::UTF16, String::UTF16BE, String::UTF8}) {
            SCOPED_TRACE(testing::Message() << version << " " << encoding);
            const std::string wide = encoding == String::Latin1 ? "\xC3\xA9" : "\xC3\xA9\xE4\xB8\x80";
            TL::Tag tag;
            const auto text = [&](const char* id, const TagLib::StringList& values) {
                auto* frame = new TL::TextIdentificationFrame(id, encoding);
                frame->setText(values);
                tag.addFrame(frame);
            };
            text("TIT2", Wide(wide));
            text("TPE1", TagLib::StringList(Wide(wide)).append("B"));
            text("TCON", String("17"));
            text("TDRC", String("2001-03-02"));
            tag.addFrame(new TL::UserTextIdentificationFrame("Mood", Wide(wide), encoding));
            auto* comment = new TL::CommentsFrame(encoding);
            comment->setText(Wide(wide));
            tag.addFrame(comment);
            auto* secret = new TL::PrivateFrame;
            secret->setOwner("o");
            secret->setData(TagLib::ByteVector("\xFF\xFE", 2));
            tag.addFrame(secret);
            std::string pictures;
            for (int type = 0; type < kPictureTypes; ++type) {
                auto* picture = new TL::AttachedPictureFrame;
                picture->setTextEncoding(encoding);
                picture->setDescription(Wide(wide));
                picture->setType(static_cast<TL::AttachedPictureFrame::Type>(type));
                picture->setMimeType("image/png");
                picture->setPicture(TagLib::ByteVector(kImage.data(), static_cast<unsigned>(kImage.size())));
                tag.addFrame(picture);
                pictures += ";" + ArtKey(type + 1, type, wide) + "(" + std::to_string(kImage.size()) + ")";
            }
            const TagLib::ByteVector bytes = tag.render(version);
            const std::string file = std::string(bytes.data(), bytes.size()) + audio_;
            EXPECT_EQ(Shown(EngineFile::Read<TagID3v2>(file)),
                      "Artist=" + wide + "|B;Comment=" + wide + ";Genre=Rock;Mood=" + wide +
                          ";Title=" + wide + ";Year=2001-03-02" + pictures);
            // What it made and we keep, it still understands.
            kit::WriteFile(path_, Written<TagID3v2>(file, {::Text("Album", "A")}, false));
            TagLib::TrueAudio::File judged(path_.c_str());
            EXPECT_EQ(judged.ID3v2Tag()->album(), "A");
            EXPECT_EQ(judged.ID3v2Tag()->title(), Wide(wide));
            EXPECT_EQ(judged.ID3v2Tag()->frameList("APIC").size(), static_cast<unsigned>(kPictureTypes));
            const auto& kept = dynamic_cast<TL::PrivateFrame&>(*judged.ID3v2Tag()->frameList("PRIV")[0]);
            EXPECT_EQ(kept.data(), TagLib::ByteVector("\xFF\xFE", 2));
        }
    }
}

}  // namespace
