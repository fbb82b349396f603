// Tags as other programs lay them out, good and bad: what the host gets to see.
#include <gtest/gtest.h>

#include "engine_file.h"
#include "id3v2_bytes.h"
#include "tags/id3v2/parser.h"
#include "tags/id3v2/parser_streams.h"
#include "tags/id3v2/tag_id3v2.h"

namespace {

using namespace id3v2;

struct Case {
    std::string bytes;
    std::string shown;
};

class Id3v2Reading : public EngineFile {
  protected:
    void Check(const std::vector<Case>& cases) {
        for (const Case& c : cases) {
            SCOPED_TRACE(c.shown);
            EXPECT_EQ(Shown(EngineFile::Read<TagID3v2>(c.bytes + "audio", true)), c.shown);
        }
    }
    // Frames of one version, and what they say behind the version.
    void CheckFrames(int version, const std::vector<Case>& cases) {
        for (const Case& c : cases) {
            const std::string kind = "TagVersion=ID3v2." + std::to_string(version);
            Check({{Tag(version, c.bytes), kind + (c.shown.empty() ? "" : ";" + c.shown)}});
        }
    }
};

TEST_F(Id3v2Reading, LaysOutFramesByVersion) {
    const std::string title = Text(3, "TIT2", "T");
    const std::string v4 = "TagVersion=ID3v2.4";
    const std::string v3 = "TagVersion=ID3v2.3";
    const std::string large(200, 'x');
    Check({
        {Tag(2, Text(2, "TT2", "T") + Text(2, "ULT", "eng^L") + Text(2, "TAL", "A")),
         "TagVersion=ID3v2.2;Album=A;Title=T"},
        {Tag(3, ""), v3},
        {Tag(3, title + Nul("^^^") + Text(3, "TALB", "behind the padding")), v3 + ";Title=T"},
        {Tag(3, Frame(3, "TT2" + kNul, Nul("^T")) + Frame(3, "XYZ" + kNul, Nul("^X"))), v3 + ";Title=T"},
        {Tag(3, Frame(3, "TALB", "") + title), v3 + ";Title=T"},
        {Tag(2, Frame(2, "TAL", "") + Text(2, "TT2", "T")), "TagVersion=ID3v2.2;Title=T"},
        {Tag(3, title + "TALB" + Big(0x4000000) + Nul("^^")), ""},
        {Tag(3, title + "TALB" + Big(100) + Nul("^^cut")), ""},
        {Tag(3, title + "TA"), v3 + ";Title=T"},
        // Plain sizes under version 2.4: read again as 2.3, whole, without what the first attempt had.
        {Tag(4, Text(3, "TIT2", large)), v3 + ";Title=" + large},
        {Tag(4, title + Text(3, "TALB", large)), v3 + ";Album=" + large + ";Title=T"},
        {Tag(4, title + Text(3, "TALB", large), 0x80), v3 + ";Album=" + large + ";Title=T"},
        {Tag(4, title + Frame(4, "TALB", Nul("^A"), 0, 0x02) + Text(3, "TPE1", large)),
         v3 + ";Album=A;Artist=" + large + ";Title=T"},
        {Tag(4, title + "TALB" + Synchsafe(50) + Nul("^^cut")), ""},
        {Tag(4, title + "TALB" + Synchsafe(0)), v4 + ";Title=T"},  // ends before the flags
        // Extended headers; the size counts itself in version 2.4 only.
        {Tag(3, Big(6) + Nul("^^^^^^") + title, 0x40), v3 + ";Title=T"},
        {Tag(4, Synchsafe(6) + Nul("^^") + title, 0x40), v4 + ";Title=T"},
        {Tag(4, Synchsafe(5) + Nul("^^") + title, 0x40), ""},
        {Tag(4, Big(10) + "skippedAAA" + Text(3, "TIT2", large), 0x40), v3 + ";Title=" + large},
    });
}

TEST_F(Id3v2Reading, UndoesUnsynchronisation) {
    const std::string body = "\x01\xFF\xFE" + Nul("a^\xFF") + "\x01" + Nul("^^");
    const std::string coded = "\x01\xFF" + kNul + "\xFE" + Nul("a^\xFF\x01^^");
    const std::string a = "a\xC7\xBF";  // U+01FF
    const std::string v3 = Big(static_cast<std::uint32_t>(body.size())) + Nul("^^");
    const std::string counted = Synchsafe(body.size()) + coded;
    Check({{Tag(3, "TIT2" + v3 + coded, 0x80), "TagVersion=ID3v2.3;Title=" + a},
           {Tag(3, "TIT2" + v3 + coded + Nul("TALB^^^\x02^^^\xFF"), 0x80), ""},  // ends in a lone sync byte
           {Tag(3, Nul("TALB^^^\x03^^^\xFF\xE0"), 0x80), ""},
           {Tag(4, Frame(4, "TIT2", coded, 0, 2)), "TagVersion=ID3v2.4;Title=" + a},
           {Tag(4, Frame(4, "TIT2", counted, 0, 3), 0x80), "TagVersion=ID3v2.4;Title=" + a},
           {Tag(4, Frame(4, "TIT2", body)), "TagVersion=ID3v2.4;Title=" + a},
           {Tag(2, "TT2" + Big(static_cast<std::uint32_t>(body.size()), 3) + coded, 0x80),
            "TagVersion=ID3v2.2;Title=" + a}});
    // Larger than the pieces in which an unknown size is read.
    std::string image = "\xFF\xD8\xFF";
    for (int i = 0; i < 5000; ++i) image += static_cast<char>(i * 7);
    std::string stuffed;
    for (std::size_t i = 0; i < image.size(); ++i) {
        stuffed += image[i];
        if (image[i] == '\xFF') stuffed += '\0';
    }
    const auto read =
        EngineFile::Read<TagID3v2>(Tag(4, Frame(4, "APIC", Nul("^image/jpeg^\x03^") + stuffed, 0, 2)));
    ASSERT_EQ(read.size(), 1U);
    EXPECT_EQ(read[0].data, image);
}

TEST_F(Id3v2Reading, ObeysEveryFlagBit) {
    const int accepted[] = {0, 0, 0x80, 0xE0, 0xF0};
    for (int version = 2; version <= 4; ++version) {
        for (int bit = 0; bit < 8; ++bit) {
            const int flag = 1 << bit;
            const std::string extended = flag != 0x40 ? "" : version == 3 ? Big(0) : Synchsafe(6) + Nul("^^");
            const std::string frame = Text(version, version == 2 ? "TT2" : "TIT2", "T");
            const bool taken = (accepted[version] & flag) != 0;
            SCOPED_TRACE(testing::Message() << version << " " << flag);
            EXPECT_EQ(Shown(EngineFile::Read<TagID3v2>(Tag(version, extended + frame, flag))),
                      taken ? "Title=T" : "");
        }
    }
    // Frames that are hidden by a flag, compressed ones included, cost only themselves.
    const int stored[] = {0x1F, 0xFF, 0xB3, 0x8F};
    for (int version = 3; version <= 4; ++version) {
        for (int byte = 0; byte < 2; ++byte) {
            for (int bit = 0; bit < 8; ++bit) {
                const int flag = 1 << bit;
                const std::string length = version == 4 && byte == 1 && flag == 1 ? Synchsafe(2) : "";
                const std::string frame =
                    Frame(version, "TIT2", length + Nul("^T  "), byte == 0 ? flag : 0, byte == 1 ? flag : 0);
                const bool taken = (stored[version == 3 ? 1 - byte : 3 - byte] & flag) != 0;
                SCOPED_TRACE(testing::Message() << version << " byte " << byte << " flag " << flag);
                EXPECT_EQ(Shown(EngineFile::Read<TagID3v2>(Tag(version, frame + Text(version, "TALB", "A")))),
                          taken ? "Album=A;Title=T  " : "Album=A");
            }
        }
    }
}

// What is larger than what is read ahead is passed over in the file.
TEST_F(Id3v2Reading, PassesOverLargeFrames) {
    const std::string title = Text(3, "TIT2", "T");
    CheckFrames(3, {{Frame(3, "PRIV", std::string(50000, 'x'), 0, 0x80) + title, "Title=T"}});
    // An unknown one of three letters is one that nobody may want.
    struct Choosy : id3parser::parseCallback {
        bool wantFrame(std::uint32_t id) override { return id != 0; }
    } choosy;
    const std::string bytes = Tag(2, Text(2, "XYZ", "x") + Text(2, "TT2", "T"));
    id3parser::streamInMem stream(std::as_bytes(std::span(bytes)));
    id3parser::id3tag tag;
    id3parser::parseTag(tag, stream, choosy);
    ASSERT_EQ(tag.frames.size(), 1U);
    EXPECT_NE(tag.frames.front().id, 0U);
}

TEST_F(Id3v2Reading, GivesFramesTheirMeaning) {
    CheckFrames(
        3,
        {
            {Text(3, "TPE1", " A / B/C "), "Artist=A|B|C "},
            {Text(3, "TPE1", "A//B"), "Artist=A|B"},
            {Text(3, "TPE1", "A/x^B"), "Artist=A/x|B"},
            {Text(3, "TPE1", "ac/dc"), "Artist=ac/dc"},
            {Text(3, "TPE2", "AC / DC"), "Album Artist=AC/DC"},
            {Text(3, "TSOP", "M/A/R/R/S"), "Artist Sort=M/A/R/R/S"},
            {Text(3, "TIT2", "ac/dc"), "Title=ac/dc"},
            {Text(3, "TDAT", "0203") + Text(3, "TYER", "2001"), "Year=2001-03-02"},
            {Text(3, "TYER", "2001") + Text(3, "TDAT", "0203"), "Year=2001-03-02"},
            {Text(3, "TDAT", "0003") + Text(3, "TYER", "2001"), "Year=2001"},
            {Text(3, "TYER", "2001") + Text(3, "TDAT", "0003"), "Year=2001-03"},
            {Text(3, "TDAT", "0203"), "Year=0000-03-02"},
            {Text(3, "TYER", "2001") + Text(3, "TDRC", "2001"), "Year=2001"},
            {Text(3, "TYER", "2001") + Text(3, "TDRC", "2002"), "Year=2001|2002"},
            {Text(3, "TYER", "circa 2001"), "Year=circa 2001"},
            {Text(3, "TCON", "Rock; Pop ;"), "Genre=Rock|Pop"},
            {Text(3, "TCON", "Rock;(abc"), "Genre=Rock|Rock"},
            {Text(3, "TXXX", "Mood[3]^calm"), "Mood=calm"},
            {Text(3, "TXXX", "Mood[]^calm") + Text(3, "TXXX", "Mood[a]^calm"), "Mood[]=calm;Mood[a]=calm"},
            {Text(3, "TXXX", "Soloists^A/B") + Text(3, "TXXX", "Other^A/B"), "Other=A/B;Soloists=A|B"},
            {Text(3, "TXXX", "replaygain_track_gain^none"), ""},
            {Text(3, "TXXX", "REPLAYGAIN_TRACK_GAIN^-3 dB"), "REPLAYGAIN_TRACK_GAIN=-3 dB"},
            {Text(3, "TXXX", "_hidden^x") + Text(3, "TXXX", "^x") + Text(3, "TXXX", "alone"), ""},
            {Text(3, "WXXX", "^http://a") + Text(3, "WXXX", "Shop^http://b^c"),
             "User defined URL link=http://a;User defined URL link Shop=http://b"},
            {Frame(3, "WOAR", "http://\xE9^"), "Official artist/performer webpage=http://\xC3\xA9^"},
            {Text(3, "COMM", "engiTunNORM^ 0001") + Text(3, "COMM", "eng^plain") + Text(3, "COMM", "deu^two"),
             "Comment=plain|two;Comment iTunNORM= 0001"},
            {Text(3, "USLT", "engdropped^words"), "Lyrics=words"},
            {Text(3, "TRCK", "3/12") + Text(3, "TPOS", "1/2"), "Disc=1/2;Track=3/12"},
            {Frame(3, "TIT2", "\x04lost") + Text(3, "TALB", "A") + Frame(3, "TPE1", "\x05"), "Album=A"},
            {Text(3, "TALB", std::string(1025, '^')) + Text(3, "TPE1", std::string(1025, '^')), ""},
            {Frame(3, "MCDI", "first") + Frame(3, "MCDI", "2"), "_cdtoc(5)"},
        });
    // The largest byte of each rating from 2 on.
    const int largest[] = {1, 32, 64, 96, 128, 160, 196, 228, 255};
    for (std::size_t i = 0; i < std::size(largest); ++i) {
        for (const int byte : {largest[i], i > 0 ? largest[i - 1] + 1 : 1}) {
            CheckFrames(3, {{Frame(3, "POPM", Nul("a@b^\x05")) +
                                 Frame(3, "POPM", Nul("a@b^") + static_cast<char>(byte)),
                             "Rating=" + std::to_string(i + 2)}});
        }
    }
    CheckFrames(
        3, {{Frame(3, "POPM", "no end") + Frame(3, "POPM", Nul("a^")) + Frame(3, "POPM", Nul("a^^")), ""}});
    CheckFrames(4, {
                       {Text(4, "TPE1", "A / B/C"), "Artist=A / B/C"},
                       {Text(4, "TPE1", "A^^B^"), "Artist=A|B"},
                       {Text(4, "TCON", "Rock; Pop"), "Genre=Rock; Pop"},
                       {Text(4, "TXXX", "Mood^calm^dark") + Text(4, "TXXX", "Soloists^A/B"),
                        "Mood=calm|dark;Soloists=A/B"},
                       {Text(4, "TDRC", "2001-03-02") + Text(4, "TIPL", "mix^X"),
                        "Involved People=mix;Year=2001-03-02"},
                   });
    for (const auto& [text, genre] :
         std::vector<std::pair<std::string, std::string>>{{"(17)", "Rock"},
                                                          {"17", "Rock"},
                                                          {"125", "Dance Hall"},
                                                          {"126", "126"},
                                                          {"200", "200"},
                                                          {"(RX)", "Remix"},
                                                          {"(CR)", "Cover"},
                                                          {"(?X", "Remix"},
                                                          {"((Live)", "(Live)"},
                                                          {"(17)Punk", "Rock"},
                                                          {"(17)(18)", "Rock"},
                                                          {"67", "Psychadelic"}}) {
        for (int version = 3; version <= 4; ++version)
            CheckFrames(version, {{Text(version, "TCON", text), "Genre=" + genre}});
    }
    CheckFrames(3, {{Text(3, "TCON", "(200)") + Text(3, "TCON", "(abc") + Text(3, "TCON", "("), ""}});
}

TEST_F(Id3v2Reading, DecodesEveryEncoding) {
    const auto wide = [](const std::u16string& text, bool big) {
        std::string bytes;
        for (const char16_t unit : text) {
            const std::string two = Big(unit, 2);
            bytes += big ? two : std::string(two.rbegin(), two.rend());
        }
        return bytes;
    };
    const std::u16string text = u"\u00E9\u4E00\U0001D11E";
    const std::string utf8 = "\xC3\xA9\xE4\xB8\x80\xF0\x9D\x84\x9E";
    const auto title = [](const std::string& body) { return Frame(4, "TIT2", body); };
    CheckFrames(4,
                {
                    {title("\x01" + wide(u"\uFEFF" + text, false)), "Title=" + utf8},
                    {title("\x01" + wide(u"\uFEFF" + text, true) + kNul), "Title=" + utf8},
                    {title("\x01" + wide(text, false)), "Title=" + utf8},  // no mark: little-endian
                    {title("\x02" + wide(text + u'\0' + u"b", true)), "Title=" + utf8},
                    {title("\x03" + utf8 + kNul), "Title=" + utf8},
                    {title("\x03" + std::string("\xE9")), "Title=\xC3\xA9"},  // not UTF-8 after all
                    {title(Nul("^") + "\xE9\x80"), "Title=\xC3\xA9\xE2\x82\xAC"},
                    {Frame(4, "TPE1", "\x01" + wide(u"\uFEFFA", false) + Nul("^^") + wide(u"\uFEFFB", true)),
                     "Artist=A|B"},
                    {Frame(4, "COMM",
                           "\x01"
                           "eng" +
                               wide(u"\uFEFFd", false) + Nul("^^") + wide(u"\uFEFFc", true)),
                     "Comment d=c"},
                    {Frame(4, "WXXX", "\x01" + wide(u"\uFEFFd", false) + Nul("^^") + "http"),
                     "User defined URL link d=http"},
                });
}

// Each "(;" repeats the genre before it, which would turn kilobytes into gigabytes.
TEST_F(Id3v2Reading, BoundsWhatAListOfGenresCanCost) {
    std::string list(1000, 'g');
    for (int i = 0; i < 50000; ++i) list += ";(";
    std::size_t bytes = 0;
    for (const kit::Tag& tag : EngineFile::Read<TagID3v2>(Tag(3, Text(3, "TCON", list))))
        bytes += tag.value.size();
    EXPECT_GT(bytes, 1000U);
    EXPECT_LT(bytes, list.size() * 7);
}

TEST_F(Id3v2Reading, NumbersPicturesAndSkipsBrokenOnes) {
    const auto picture = [](const std::string& body) { return Frame(3, "APIC", Nul(body)); };
    CheckFrames(
        3, {
               {picture("^image/png^\x03"
                        "Cover^12345"),
                "_albumart_1_Front Album Cover<subdesc>Cover(5)"},
               {picture("^a^\x11^1") + picture("^no end of description") +
                    picture("\x04"
                            "a^\x01^1") +
                    picture("^a^\x01^") + picture("^a^^^12") + picture("^a^\x15^123"),
                "_albumart_1_A Bright Coloured Fish(1);_albumart_2_Undefined(2);_albumart_3_Undefined(3)"},
               {picture("\x01^\x04\xFF\xFE"
                        "d^^^12"),
                "_albumart_1_Back Album Cover<subdesc>d(2)"},
           });
    CheckFrames(2, {{Frame(2, "PIC",
                           Nul("^BMP\x03"
                               "d^123")),
                     "_albumart_1_Front Album Cover<subdesc>d(3)"}});
    Check({{Tag(2, Frame(2, "PIC", Nul("\x02PNG\x03^1"))), ""}, {Tag(2, Frame(2, "PIC", Nul("^PN"))), ""}});
}

TEST_F(Id3v2Reading, MeasuresTheTagOnDisk) {
    for (const auto& [bytes, size] : std::vector<std::pair<std::string, std::uint64_t>>{
             {"ID3\x04", 0},
             {Tag(4, "", 0x10) + "3DI.......", 20},
             {Tag(4, "", 0x10) + "audio.....", 10},
             {Tag(4, "", 0x10), 10},
             {Tag(3, "", 0x10) + "3DI.......", 10},
             {Tag(4, "") + "3DI.......", 10},
             {Tag(9, "12345"), 15},
             {Tag(3, "", 0x01), 0},
             {Tag(3, "", 0xE0), 10},
             {std::string("ID3\x03\0\0\0\0\x80\0", 10), 0},
             {std::string("ID3\x03\0\0\x7F\x7F\x7F\x7F", 10), 0x1000000A - 1}}) {
        With<TagID3v2>(bytes, [expected = size](TagID3v2& engine) {
            EXPECT_EQ(engine.tagSizeOnDisk(), expected);
            EXPECT_EQ(engine.Exists(), expected != 0);
        });
    }
}

// Reads that go past the cache must not lose what it holds, and a filter has no position.
TEST(Id3v2Streams, CacheAndFilterKeepTheirPlace) {
    std::string text;
    for (int i = 0; i < 100; ++i) text += static_cast<char>(i);
    id3parser::streamInMem memory(std::as_bytes(std::span(text)));
    std::array<std::byte, 16> room;
    id3parser::streamInCache cache(memory, room);
    std::byte bytes[32];
    for (const unsigned step : {1U, 9U, 3U, 8U, 20U, 0U, 7U, 31U, 40U}) {
        const std::uint64_t before = cache.tell();
        const std::uint64_t came = cache.read(bytes, std::min<std::uint64_t>(step, sizeof bytes));
        EXPECT_TRUE(came == 0 || std::to_integer<std::uint64_t>(bytes[0]) == before);
        EXPECT_EQ(cache.tell(), before + came);
    }
    EXPECT_EQ(cache.tell(), 100U);
    cache.seek(5);
    EXPECT_EQ(cache.skip(200), 95U);
    id3parser::streamLimited window(memory, 0);
    EXPECT_THROW(window.readExact(bytes, 1), id3parser::parseError);
    EXPECT_THROW(window.seek(1), id3parser::parseError);
    EXPECT_EQ(window.tell(), 0U);
    id3parser::streamFixSync filter(memory);
    EXPECT_THROW(filter.tell(), id3parser::notSeekableError);
    EXPECT_THROW(filter.seek(0), id3parser::notSeekableError);
}

// Whatever is asked for at once, and wherever a 0xFF comes to lie in it, the same bytes come out.
TEST(Id3v2Streams, UndoUnsynchronisationInPiecesOfAnySize) {
    const std::string stored("a\xFF\0b\xFF\x01\xFF\0\xFF\0\0c\xFF\xDF\xFF\0", 16);
    const std::string wanted(
        "a\xFF"
        "b\xFF\x01\xFF\xFF\0c\xFF\xDF\xFF",
        12);
    for (std::size_t step = 1; step <= stored.size(); ++step) {
        id3parser::streamInMem memory(std::as_bytes(std::span(stored)));
        id3parser::streamFixSync filter(memory);
        std::string got;
        for (std::size_t came = step; came == step;) {
            std::string piece(step, '?');
            came = filter.read(reinterpret_cast<std::byte*>(piece.data()), step);
            got += piece.substr(0, came);
        }
        EXPECT_EQ(got, wanted) << step;
        memory.seek(0);
        id3parser::streamFixSync skipping(memory);
        EXPECT_EQ(skipping.skip(step), std::min(step, wanted.size()));
        EXPECT_EQ(skipping.skip(stored.size()), wanted.size() - std::min(step, wanted.size()));
    }
    for (const char* broken : {"ab\xFF", "ab\xFF\xE0z", "ab\xFF\xFFz"}) {
        const std::string bytes(broken);
        for (std::size_t step = 3; step <= 5; ++step) {
            id3parser::streamInMem memory(std::as_bytes(std::span(bytes)));
            id3parser::streamFixSync filter(memory);
            std::byte out[8];
            EXPECT_THROW(filter.read(out, step), id3parser::parseError) << bytes << step;
        }
    }
}

}  // namespace
