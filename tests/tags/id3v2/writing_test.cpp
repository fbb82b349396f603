// What a job leaves in the tag, frame by frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "engine_file.h"
#include "id3v2_bytes.h"
#include "tags/id3v2/tag_id3v2.h"
#include "tags/id3v2/writer.h"

namespace {

using namespace id3v2;
using Lines = std::vector<std::string>;

class Id3v2Writing : public EngineFile {
  protected:
    // The frames after writing these tags to a file of the version and frames; "Name=value" with "|" between
    // values. No version: a file without a tag.
    Lines After(int version, const std::string& frames, const std::vector<kit::Tag>& tags,
                const char16_t* option = u"") {
        const std::string audio = "audio";
        file_ = Written<TagID3v2>((version == 0 ? "" : Tag(version, frames)) + audio, tags, false, option);
        EXPECT_EQ(file_.substr(file_.size() - audio.size()), audio);
        return Frames(file_);
    }
    static kit::Tag Entry(const std::string& line) {
        const std::size_t equals = line.find('=');
        std::string value = line.substr(equals + 1);
        std::replace(value.begin(), value.end(), '|', '\r');
        return ::Text(line.substr(0, equals), value);
    }

    std::string file_;
};

TEST_F(Id3v2Writing, MakesAFrameOfEachName) {
    struct Row {
        std::string entry;
        Lines v3;
        Lines v4;
    };
    const Row rows[] = {
        {"Title=T", {"TIT2=^T^"}, {"TIT2=^T^"}},
        {"Artist=A|B", {"TPE1=^A/B^"}, {"TPE1=^A^B^"}},
        {"Language(s)=eng|deu", {"TLAN=^eng/deu^"}, {"TLAN=^eng^deu^"}},
        {"Label=A|B", {"TPUB=^A\rB^"}, {"TPUB=^A\rB^"}},
        {"ISRC=1|2", {"TXXX=^ISRC^1^", "TXXX=^ISRC^2^"}, {"TXXX=^ISRC^1^2^"}},
        {"Genre=(Live)|Pop", {"TCON=^((Live);Pop^"}, {"TCON=^((Live)^Pop^"}},
        {"Lyrics=la", {"USLT=^eng^la^"}, {"USLT=^eng^la^"}},
        {"Payment=http://a", {"WPAY=http://a"}, {"WPAY=http://a"}},
        {"Year=2001", {"TYER=^2001^"}, {"TDRC=^2001^"}},
        {"Year=2001-03-02", {"TYER=^2001^"}, {"TDRC=^2001^"}},
        {"Year=odd", {"TYER=^0^"}, {"TXXX=^Year^0^"}},
        {"Original release year=1999", {"TORY=^1999^"}, {"TDOR=^1999^"}},
        {"Original release year=1999-01", {"TXXX=^Original release year^1999-01^"}, {"TDOR=^1999-01^"}},
        {"Recording dates=4 May", {"TRDA=^4 May^"}, {"TXXX=^Recording dates^4 May^"}},
        {"Release date=2001-02-03T04:05/2002",
         {"TDRL=^2001-02-03T04:05/2002^"},
         {"TDRL=^2001-02-03T04:05/2002^"}},
        {"Release date=2001/x", {"TXXX=^Release date^2001/x^"}, {"TXXX=^Release date^2001/x^"}},
        {"Musician Credits=drums|X",
         {"TXXX=^Musician Credits^drums^", "TXXX=^Musician Credits^X^"},
         {"TMCL=^drums^X^"}},
        {"track=3/12|4", {"TRCK=^3/12^"}, {"TRCK=^3/12^"}},
        {"Rating=7",
         {"POPM=Windows Media Player 9 Series^\xA0^^^^"},
         {"POPM=Windows Media Player 9 Series^\xA0^^^^"}},
        {"Rating=11", {"TXXX=^Rating^11^"}, {"TXXX=^Rating^11^"}},
        {"Comment=a", {"COMM=^eng^a^"}, {"COMM=^eng^a^"}},
        {"comment  Of mine=a|b",
         {"COMM=^engOf mine^a^", "COMM=^engOf mine^b^"},
         {"COMM=^engOf mine^a^", "COMM=^engOf mine^b^"}},
        {"commentary=a", {"TXXX=^commentary^a^"}, {"TXXX=^commentary^a^"}},
        {"itunnorm= 00F", {"COMM=^engiTunNORM^ 00F^"}, {"COMM=^engiTunNORM^ 00F^"}},
        {"User defined URL link  Shop=u|v",
         {"WXXX=^Shop^u", "WXXX=^Shop^v"},
         {"WXXX=^Shop^u", "WXXX=^Shop^v"}},
        {"Soloists=A|B", {"TXXX=^Soloists^A/B^"}, {"TXXX=^Soloists^A^B^"}},
        {"replaygain_track_gain=-1|-2",
         {"TXXX=^replaygain_track_gain^-1^"},
         {"TXXX=^replaygain_track_gain^-1^"}},
        {"content group description=x", {"TXXX=^style^x^"}, {"TXXX=^style^x^"}},
        {"Mood=a|", {"TXXX=^Mood^a^", "TXXX=^Mood^^"}, {"TXXX=^Mood^a^^"}},
        {"_hidden=x", {}, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.entry);
        EXPECT_EQ(After(0, "", {Entry(row.entry)}), row.v3);
        EXPECT_EQ(After(0, "", {Entry(row.entry)}, u"ID3v2WriteV24"), row.v4);
        EXPECT_EQ(After(4, "", {Entry(row.entry)}), row.v4) << "a tag keeps its version";
    }
}

TEST_F(Id3v2Writing, ObeysItsOptions) {
    const std::vector<kit::Tag> date{Entry("Year=2001-03-02")};
    EXPECT_EQ(After(0, "", date, u"WriteFullDateInYearTag"), Lines{"TYER=^2001-03-02^"});
    EXPECT_EQ(After(0, "", date, u"WriteStrictYearDate"), (Lines{"TYER=^2001^", "TDAT=^0203^"}));
    EXPECT_EQ(After(0, "", {Entry("Year=2001 03 02")}, u"WriteStrictYearDate"),
              (Lines{"TYER=^2001^", "TDAT=^0203^"}));
    EXPECT_EQ(After(0, "", {Entry("Year=2001-03")}, u"WriteStrictYearDate"),
              (Lines{"TYER=^2001^", "TDAT=^0003^"}));
    EXPECT_EQ(After(0, "", {Entry("Year=circa 2001")}, u"WriteStrictYearDate"), Lines{});
    EXPECT_EQ(file_, "audio");
    EXPECT_EQ(After(0, "", {Entry("Orchestra=O"), Entry("Album Artist=A")}, u"TPE2Orchestra"),
              (Lines{"TPE2=^O^", "TXXX=^Album Artist^A^"}));
    EXPECT_EQ(After(3, Text(3, "TIT1", "a"), {Entry("Style=b")}, u"TIT1Style"), Lines{"TIT1=^b^"});
    With<TagID3v2>(Tag(3, Text(3, "TPE2", "O")), [](TagID3v2& engine) {
        for (int times = 0; times < 2; ++times) engine.SetOption(u"TPE2Orchestra");
        IDTags tags;
        EXPECT_TRUE(engine.Read(tags, false));
        EXPECT_NE(tags.Find(u"Orchestra", false), nullptr);
    });
    const std::vector<kit::Tag> text{Entry("Artist=\xC3\xA9|\xE4\xB8\x80"), Entry("Track=1"),
                                     Entry("Comment iTunX=0F")};
    const std::string units = "\xFF\xFE";
    EXPECT_EQ(After(3, "", text, u"ID3v2EncodeUTF8"),
              (Lines{"TRCK=^1^", "TPE1=\x01" + units + "\xE9^/^^N^^", "COMM=^engiTunX^0F^"}));
    // The marks look like sync signals, so the frame is unsynchronised behind its 13 bytes' length.
    EXPECT_EQ(After(4, "", text, u"ID3v2EncodeUni")[1], "TPE1=^^^\r\x01\xFF^\xFE\xE9^^^\xFF^\xFE^N^^");
    EXPECT_EQ(After(4, "", text, u"ID3v2EncodeUTF8")[1], "TPE1=\x03\xC3\xA9^\xE4\xB8\x80^");
    // A zero goes where the byte behind could be taken for one of those, and nowhere else.
    EXPECT_EQ(After(4, "",
                    {Entry("Title=\xC3\xBF"
                           "a\xC3\xBF\xC3\xBF")}),
              Lines{"TIT2=^^^\x06^\xFF"
                    "a\xFF^\xFF^^"});
}

// A "?" in place of a letter is a loss that nothing tells of.
TEST_F(Id3v2Writing, TakesUtf16ForTextThatTheCodePageLacks) {
    const std::string one = "\xE4\xB8\x80";  // U+4E00
    const std::string mark = "\xFF\xFE";
    const std::string wide = mark + "^N";
    struct Row {
        std::string entry;
        Lines frames;
    };
    const Row rows[] = {
        {"Title=" + one, {"TIT2=\x01" + wide + "^^"}},
        {"Title=\xC3\xA9", {"TIT2=^\xE9^"}},
        {"Track=" + one, {"TRCK=\x01" + wide + "^^"}},
        {"Genre=" + one + "|a", {"TCON=\x01" + wide + ";^a^^^"}},
        {"Comment=" + one,
         {"COMM=\x01"
          "eng" +
          mark + "^^" + wide + "^^"}},
        {"Comment " + one + "=a",
         {"COMM=\x01"
          "eng" +
          wide + "^^" + mark + "a^^^"}},
        {"Lyrics=" + one,
         {"USLT=\x01"
          "eng" +
          mark + "^^" + wide + "^^"}},
        {"Mood=" + one + "|a", {"TXXX=\x01" + mark + "M^o^o^d^^^" + wide + "^^", "TXXX=^Mood^a^"}},
        {one + "=a", {"TXXX=\x01" + wide + "^^" + mark + "a^^^"}},
        {"replaygain_track_gain=1" + one, {}},
        {"User defined URL link " + one + "=u:v", {"WXXX=\x01" + wide + "^^u:v"}},
        {"User defined URL link " + one + "=u", {}},
        {"Payment=" + one, {}},
        {"User defined URL link=" + one, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.entry);
        const Lines frames = After(3, "", {Entry(row.entry)});
        if (!row.frames.empty()) {
            EXPECT_EQ(frames, row.frames);
        }
        for (const int version : {3, 4}) {
            After(version, "", {Entry(row.entry)});
            EXPECT_EQ(Shown(EngineFile::Read<TagID3v2>(file_)), row.entry);
            // What was written that way is kept, to the byte.
            EXPECT_EQ(Written<TagID3v2>(file_, {}, false), file_);
        }
    }
    // Rebuilt, because bytes outside ASCII are only guessed, and raised from version 2.2.
    const std::string marked =
        "\x01\xFF\xFE"
        "x" +
        Nul("^^N");
    EXPECT_EQ(After(3, Frame(3, "TXXX", "\x01" + mark + Nul("m^[^1^]^^^") + mark + Nul("^N")), {}),
              Lines{"TXXX=\x01" + mark + "m^^^" + wide + "^^"});
    EXPECT_EQ(After(2, Frame(2, "TT2", marked), {}), Lines{"TIT2=\x01" + mark + "x^^N^^"});
    // A picture's description, too; what the code page holds stays UTF-8 without saying so.
    const auto picture = [&](const std::string& description) {
        After(3, "", {Binary("_albumart_1_Media<subdesc>" + description, "image")});
        return std::pair(Frames(file_)[0], EngineFile::Read<TagID3v2>(file_)[0].name);
    };
    EXPECT_EQ(picture("\xC3\xA9").first, "APIC=^^\x06\xC3\xA9^image");
    EXPECT_EQ(picture(one),
              std::pair("APIC=\x01^\x06" + wide + "^^image", "_albumart_1_Media<subdesc>" + one));
}

TEST_F(Id3v2Writing, KeepsWhatStillHolds) {
    const std::string wide = Frame(3, "TPE1", std::string("\x01\xFE\xFF\0A", 5));
    const std::string priv = Frame(3, "PRIV", Nul("x^\xFF\xFF"));
    const auto frames = wide + priv + Text(3, "TIT2", "old") + Text(3, "TALB", "A");
    const Lines kept{"TPE1=\x01\xFE\xFF^A", "PRIV=x^\xFF\xFF"};
    // New frames first, then the old ones in their order.
    EXPECT_EQ(After(3, frames, {Entry("Title=new"), Entry("artist=A")}),
              (Lines{"TIT2=^new^", kept[0], kept[1], "TALB=^A"}));
    EXPECT_EQ(After(3, frames, {Entry("Album=")}), (Lines{kept[0], kept[1], "TIT2=^old"}));
    // What says nothing of itself goes.
    EXPECT_EQ(After(3, Text(3, "TXXX", "REPLAYGAIN_TRACK_GAIN^none"), {Entry("Title=T")}), Lines{"TIT2=^T^"});
    // Values over several frames hold only together; one change and all are made anew.
    const std::string comments = Text(3, "COMM", "deu^a") + Text(3, "COMM", "eng^b");
    EXPECT_EQ(After(3, comments, {Entry("Title=T")}), (Lines{"TIT2=^T^", "COMM=^deu^a", "COMM=^eng^b"}));
    EXPECT_EQ(After(3, comments + Text(3, "TXXX", "m^a^b"), {Entry("Comments=c")}),
              (Lines{"COMM=^eng^a^", "COMM=^eng^b^", "COMM=^eng^c^", "TXXX=^m^a^b"}));
    const std::string date = Text(3, "TDAT", "0203") + Text(3, "TYER", "2001");
    EXPECT_EQ(After(3, date + Text(3, "TPE1", "x"), {Entry("Artist=y")}),
              (Lines{"TPE1=^y^", "TDAT=^0203", "TYER=^2001"}));
    // Gone: an index, replay gain as it stood, text that is only guessed, frames of another version, what the
    // parser doesn't store.
    EXPECT_EQ(After(3,
                    Text(3, "TXXX", "Mood[2]^calm") + Text(3, "TXXX", "replaygain_track_peak^0.5") +
                        Text(3, "TXXX", "Alone") + Text(3, "TALB", "\xE9") + Text(3, "TDRC", "2001") +
                        Frame(3, "GEOB", "xxxxx", 0, 0x80),
                    {Entry("Title=T")}),
              (Lines{"TIT2=^T^", "TALB=^\xE9^", "TYER=^2001^", "TXXX=^Mood^calm^",
                     "TXXX=^replaygain_track_peak^0.5^"}));
    // Version 2.2 becomes 2.3; what has no name here can't come along.
    EXPECT_EQ(After(2,
                    Text(2, "TT2", "T") +
                        Frame(2, "COM",
                              "\x01"
                              "deu\xFF\xFE" +
                                  Nul("^^\xFF\xFE") + Nul("c^")) +
                        Frame(2, "PIC", Nul("^JPG\x04^pic")) + Text(2, "UFI", "x"),
                    {Entry("Album=A")}),
              (Lines{"TIT2=^T^", "TALB=^A^",
                     "COMM=\x01"
                     "deu\xFF\xFE^^\xFF\xFE"
                     "c^",
                     "APIC=^image/jpeg^\x04^pic"}));
    EXPECT_EQ(After(2,
                    Frame(2, "COM",
                          std::string("\x03"
                                      "deu\0\xC3\xA9",
                                      7)),
                    {})[0],
              "COMM=\x01"
              "deu\xFF\xFE^^\xFF\xFE\xE9^^^");
    // A tag that can't be parsed gives way to the new one.
    EXPECT_EQ(After(3, Text(3, "TIT2", "T") + "TALB\x7F\x7F\x7F\x7F^^", {Entry("Album=A")}),
              Lines{"TALB=^A^"});
    // Its version goes with it.
    const std::string malformed = Tag(3, Text(3, "TIT2", "T") + "TALB\x7F\x7F\x7F\x7F^^");
    EXPECT_TRUE(
        Written<TagID3v2>(malformed, {Entry("Album=A")}, false, u"ID3v2WriteV24").starts_with("ID3\x04"));
}

TEST_F(Id3v2Writing, ReplacesPicturesByType) {
    const auto old = [](char type, const std::string& image) {
        return Frame(3, "APIC", Nul("^image/gif^") + type + Nul("d^") + image);
    };
    const std::string png = "\x89PNG----";
    const std::string frames = old(4, "back") + old(3, "front") + old(3, "front 2") + old(0, "none") +
                               Frame(3, "APIC", "broken") + Frame(3, "MCDI", "toc");
    EXPECT_EQ(After(3, frames,
                    {Binary("_ALBUMART_7_Back Album Cover<subdesc>\xC3\xA9", png),
                     Binary("_albumart_1_Media", "short")}),
              (Lines{"MCDI=toc",
                     "APIC=^image/gif^\x03"
                     "d^front",
                     "APIC=^image/gif^\x03"
                     "d^front 2",
                     "APIC=^image/gif^^d^none", "APIC=^image/png^\x04\xC3\xA9^" + png, "APIC=^^\x06^short"}));
    EXPECT_EQ(
        After(3, frames,
              {Entry("_albumart_1_Undefined="), Entry("_albumart_2_anything="), Binary("_cdtoc", "new")}),
        (Lines{"MCDI=new",
               "APIC=^image/gif^\x04"
               "d^back"}));
    const auto without = [&](const char16_t* name) {
        return Frames(Without<TagID3v2>(Tag(3, frames) + "audio", name)).size();
    };
    EXPECT_EQ(without(u"_cdtoc"), 5U);
    EXPECT_EQ(without(u"_albumart_1_Front Album Cover"), 3U);
    EXPECT_EQ(without(u"Title"), 6U);
    EXPECT_EQ(Without<TagID3v2>(Tag(3, Text(3, "TIT2", "T")) + "audio", u"title"), "audio");
}

// A frame that looks like a sync signal must be hidden in version 2.4, and an old one that was stays so.
TEST_F(Id3v2Writing, UnsynchronisesFramesOfVersion24) {
    const auto written = [&](const std::string& frames, const std::string& image) {
        return Written<TagID3v2>(Tag(4, frames) + "audio", {Binary("_albumart_1_Media", image)}, false);
    };
    const std::string jpeg = Nul("\xFF\xE1\xFF^longer than eight\xFF");
    const std::string coded = Nul("^image/jpeg^\x06^\xFF^\xE1\xFF^^longer than eight\xFF^");
    const std::string file = written("", jpeg);
    EXPECT_EQ(
        file,
        Tag(4, "APIC" + Synchsafe(coded.size() + 4) + Nul("^\x03") + Synchsafe(coded.size() - 3) + coded,
            0x80) +
            "audio");
    EXPECT_EQ(Shown(EngineFile::Read<TagID3v2>(file)),
              "_albumart_1_Media(" + std::to_string(jpeg.size()) + ")");
    EXPECT_EQ(written("", "no sync signal"),
              Tag(4, Frame(4, "APIC", Nul("^image/jpeg^\x06^no sync signal"))) + "audio");
    // With frames that undoing would damage, or that it balks at, the header keeps silent.
    for (const char* body : {"\xFF^", "a\xFF", "\xFF\xE0"}) {
        const std::string private_ = Frame(4, "PRIV", Nul(body));
        EXPECT_EQ(written(private_, jpeg)[5], '\0') << body;
        EXPECT_EQ(written(Frame(4, "PRIV", Nul("\xFF^\xE0"), 0, 2), jpeg)[5], '\x80');
    }
    EXPECT_EQ(written(Text(4, "TIT2", "harmless"), jpeg)[5], '\x80');
    // What version 2.4 had left as it is isn't looked at again.
    const std::string kept = Frame(4, "PRIV", "\xFF\xFF");
    EXPECT_EQ(written(kept, "plain"), Tag(4, kept + Frame(4, "APIC", Nul("^^\x06^plain"))) + "audio");
}

TEST_F(Id3v2Writing, PadsToTheOldSizeWhenAllowed) {
    using namespace id3parser;
    const auto sizes = [](std::size_t body, const TagRoom& room) {
        id3tag tag;
        tag.version = kVersion23;
        tag.frames.emplace_back().data.resize(body - 20, std::byte{0});
        streamOutBuffer out;
        renderTag(tag, out, room);
        EXPECT_EQ(readSynchsafe(out.bytes.data() + 6) + 10, out.bytes.size());
        return out.bytes.size();
    };
    EXPECT_EQ(sizes(60, {100, 60, 1}), 100U);
    EXPECT_EQ(sizes(60, {100, 10, 1}), 70U);
    EXPECT_EQ(sizes(210, {100, 4096, 1}), 210U + 2048);
    EXPECT_EQ(sizes(61, {61, 0, 1}), 61U);
    EXPECT_EQ(sizes(61, {0, 0, 2}), 62U);
    id3tag tag;
    streamOutBuffer out;
    EXPECT_THROW(renderTag(tag, out, {}), writeError);
    tag.version = kVersion24;
    EXPECT_THROW(renderTag(tag, out, {0, 0, std::numeric_limits<std::uint32_t>::max()}), writeError);
    EXPECT_THROW(writeSynchsafe(out, 0x10000000), writeError);
    EXPECT_NO_THROW(writeSynchsafe(out, 0xFFFFFFF));
}

// Written as four zeros, such an identifier would hide every frame behind it.
TEST_F(Id3v2Writing, DropsAFrameWhoseIdentifierGotLost) {
    const Lines after =
        After(3, Frame(3, Nul("XYZ^"), "lost") + Frame(3, "PRIV", "kept"), {Entry("Title=T")});
    EXPECT_EQ(after, (Lines{"TIT2=^T^", "PRIV=kept"}));
}

// What no reader of ours takes would be lost, with all behind it, at the next write of anything.
TEST_F(Id3v2Writing, RefusesWhatItCouldNotReadBack) {
    constexpr std::uint32_t kLimit = 64U << 20;
    constexpr std::uint32_t kFront = sizeof "^image/jpeg^\x06^" - 1;
    const auto written = [&](const std::string& file, std::uint32_t imageBytes, char last) {
        bool done = false;
        const std::string after = With<TagID3v2>(file, [&](TagID3v2& engine) {
            IDTags tags;
            IDTag& picture = tags.Add();
            picture.Name.Set(u"_albumart_1_Media");
            ASSERT_TRUE(picture.Data.Resize(imageBytes, true));
            std::memset(picture.Data.data(), 0, imageBytes);
            picture.Data.data()[imageBytes - 1] = static_cast<std::byte>(last);
            done = engine.Write(tags, false);
        });
        EXPECT_TRUE(done || after == file);
        EXPECT_TRUE(after.ends_with("audio"));
        return done;
    };
    const std::string v3 = Tag(3, Text(3, "TIT2", "T")) + "audio";
    EXPECT_FALSE(written(v3, kLimit - kFront, 'x'));
    EXPECT_TRUE(written(v3, kLimit - kFront - 1, 'x'));
    const auto read = EngineFile::Read<TagID3v2>(kit::ReadFile(path_));
    ASSERT_EQ(read.size(), 2U);
    EXPECT_EQ(read[1].data.size(), kLimit - kFront - 1);
    // Of an unsynchronised frame it is the longer form that counts.
    const std::string v4 = Tag(4, Text(4, "TIT2", "T")) + "audio";
    EXPECT_TRUE(written(v4, kLimit - kFront - 6, '\xFF'));
    EXPECT_FALSE(written(v4, kLimit - kFront - 5, '\xFF'));
    // More strings than a frame is searched for.
    for (const char* name : {"Artist", "Mood", "Genre"}) {
        const auto some = [&](std::size_t values) {
            std::string text = std::string(name) + "=v";
            for (std::size_t i = 1; i < values; ++i) text += "|v";
            return text;
        };
        const std::size_t most = std::string_view(name) == "Mood" ? 1023 : 1024;
        After(4, "", {Entry(some(most))});
        EXPECT_EQ(EngineFile::Read<TagID3v2>(file_)[0].value.size(), 2 * most - 1) << name;
        With<TagID3v2>(v4, [&](TagID3v2& engine) {
            IDTags tags;
            Fill(tags, {Entry(some(most + 1))});
            EXPECT_FALSE(engine.Write(tags, false)) << name;
        });
        EXPECT_EQ(kit::ReadFile(path_), v4);
    }
}

// A rewrite costs padding and what isn't read; a deletion that finds nothing isn't worth that.
TEST_F(Id3v2Writing, LeavesATagAloneThatDoesNotHoldTheName) {
    const std::string padding(20, '\0');
    const std::string files[] = {
        Tag(3, Text(3, "TIT2", "T") + Frame(3, "GEOB", "compressed", 0, 0x80) + Frame(3, "APIC", "broken") +
                   padding),
        Tag(4, Text(4, "TIT2", "T") + Frame(4, "PRIV", "read-only", 0x10) + padding),
        Tag(2, Text(2, "TT2", "T") + Text(2, "UFI", "x") + padding),
        Tag(3, Text(3, "TXXX", "_hidden^x")),
        Tag(3, "TIT2\x7F\x7F\x7F\x7Fxx"),
        Tag(3, Text(3, "TIT2", "T"), 0x10),
        Tag(3, Text(3, "TIT2", "T") + padding).substr(0, 40),
    };
    for (const std::string& tag : files) {
        for (const char16_t* name : {u"Album", u"", u"_hidden", u"_cdtoc", u"_albumart_1_Media"}) {
            EXPECT_EQ(Without<TagID3v2>(tag + "audio", name), tag + "audio") << clString(name).Utf8();
        }
    }
}

TEST_F(Id3v2Writing, WorksBehindAnOffsetAndOnEvenSizes) {
    const std::string front = "RIFF....";
    const std::string bytes = front + Tag(3, Text(3, "TIT2", "T")) + "+audio";  // 22 bytes
    const std::string after = With<TagID3v2>(bytes, [&](TagID3v2& engine) {
        engine.tagOffset = front.size();
        engine.alignment = 2;
        IDTags tags;
        Fill(tags, {Entry("Title=Two"), Entry("Album=4444")});
        EXPECT_TRUE(engine.Write(tags, false));
        EXPECT_EQ(engine.tagSizeOnDisk() % 2, 0U);
    });
    EXPECT_EQ(after.substr(0, 8), front);
    EXPECT_EQ(after.substr(after.size() - 6), "+audio");
    EXPECT_EQ(With<TagID3v2>(after,
                             [&](TagID3v2& engine) {
                                 engine.tagOffset = front.size();
                                 engine.Delete();
                             }),
              front + "+audio");
}

}  // namespace
