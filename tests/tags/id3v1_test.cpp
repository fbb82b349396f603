#include "engine_file.h"
#include "tags/tag_id3v1.h"

namespace {

using Tags = std::vector<kit::Tag>;

const std::string kAudio(300, 'a');

class Id3v1Tag : public EngineFile {
  protected:
    static std::string File(const Id3v1Fields& fields) { return kAudio + Id3v1(fields); }
};

const Id3v1Fields kFull{.title = "Title \xE9",
                        .artist = "A; B",
                        .album = "Al; bum",
                        .year = "1999",
                        .comment = "28 bytes and nothing further",
                        .track = 200,
                        .genre = 39};

TEST_F(Id3v1Tag, FieldsBecomeTags) {
    const Tags full{Text("Title", "Title \xC3\xA9"),
                    Text("Artist", "A\rB"),
                    Text("Album", "Al; bum"),
                    Text("Year", "1999"),
                    Text("Comment", kFull.comment),
                    Text("Genre", "Noise"),
                    Text("Track", "200"),
                    Text("TagVersion", "ID3v1.1")};
    EXPECT_EQ(Read<TagID3v1>(File(kFull), true), full);
    const std::string thirty = "123456789012345678901234567890";
    struct Case {
        Id3v1Fields fields;
        Tags tags;
    };
    const Case cases[] = {
        {{}, {}},
        {{.title = " ", .artist = std::string(30, ' '), .genre = 127}, {}},
        {{.title = "  a b  ", .artist = " ; b; ; ", .comment = thirty},
         {Text("Title", "a b"), Text("Artist", "\rb\r\r"), Text("Comment", thirty),
          Text("TagVersion", "ID3v1.0")}},
        {{.year = "20" + kNul + "1", .genre = 126},
         {Text("Year", "20"), Text("Genre", "Undefined"), Text("TagVersion", "ID3v1.0")}},
        {{.track = 1, .genre = 0},
         {Text("Genre", "Blues"), Text("Track", "1"), Text("TagVersion", "ID3v1.1")}},
    };
    for (const Case& c : cases) EXPECT_EQ(Read<TagID3v1>(File(c.fields), true), c.tags);
}

TEST_F(Id3v1Tag, IsToldFromAnApeTagAndNeedsRoomInFront) {
    const std::string tag = Id3v1(kFull);
    EXPECT_EQ(Read<TagID3v1>("aa" + tag, true, false), Tags{});
    EXPECT_EQ(Read<TagID3v1>("AP_" + tag).size(), 7U);
    for (const std::string& none : {"APE" + tag, kAudio + tag + "a", kAudio}) {
        EXPECT_EQ(Read<TagID3v1>(none, true), Tags{});
        EXPECT_EQ(With<TagID3v1>(none,
                                 [](TagID3v1& engine) {
                                     EXPECT_FALSE(engine.Exists());
                                     engine.Delete();
                                 }),
                  none);
    }
    EXPECT_EQ(With<TagID3v1>(File(kFull), [](TagID3v1& engine) { engine.Delete(); }), kAudio);
}

TEST_F(Id3v1Tag, TagsBecomeFields) {
    const std::string long31 = "1234567890123456789012345678901";
    struct Case {
        const char* what;
        Tags given;
        Id3v1Fields fields;
    };
    const Case cases[] = {
        {"cut bytes, not characters",
         {Text("title", std::string(29, 'x') + "\xC3\xA9y"), Text("YEAR", "2001-02-03")},
         {.title = std::string(29, 'x') + "\xE9", .year = "2001"}},
        {"thirty of a comment", {Text("Comment", long31)}, {.comment = long31.substr(0, 30)}},
        {"28 beside a track",
         {Text("Comment", long31), Text("Track", "3/12")},
         {.comment = long31.substr(0, 28), .track = 3}},
        {"track 256 is none",
         {Text("Track", "256"), Text("Comment", long31)},
         {.comment = long31.substr(0, 28)}},
        {"values",
         {Text("ARTIST", "A\rB"), Text("Album", "A\rB"), Text("Genre", "rock\rPop")},
         {.artist = "A; B", .album = "A\rB", .genre = 17}},
        {"a genre alone", {Text("Genre", "UNDEFINED")}, {.genre = 126}},
        {"beside others no genre is none", {Text("Title", "t"), Text("Genre", "[No genre]")}, {.title = "t"}},
        {"an unknown genre", {Text("Title", "t"), Text("Genre", "Alternative Rock")}, {.title = "t"}},
        {"what the code page lacks", {Text("Title", "\xE4\xB8\x80")}, {.title = "?"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(Written<TagID3v1>(File(kFull), c.given, false), File(c.fields));
        EXPECT_EQ(Written<TagID3v1>(kAudio, c.given, true), File(c.fields));
    }
    EXPECT_EQ(
        Written<TagID3v1>(File(kFull), {Text("Comment", long31), Text("Track", "3")}, false, u"ID3v1Write10"),
        File({.comment = long31.substr(0, 30)}));
}

TEST_F(Id3v1Tag, UpdateKeepsTheRestAndNothingLeftRemovesIt) {
    Id3v1Fields changed = kFull;
    changed.album = "New";
    EXPECT_EQ(Written<TagID3v1>(File(kFull), {Text("Composer", "x"), Text("album", "New")}), File(changed));
    EXPECT_EQ(Written<TagID3v1>(File(kFull), {Text("Mood", "x"), Binary("_albumart_1_Media", "p")}),
              File(kFull));
    EXPECT_EQ(Written<TagID3v1>(File({.title = "t"}), {Text("Title", "")}), kAudio);
    EXPECT_EQ(Written<TagID3v1>(File(kFull), {Text("Genre", "[No Genre]"), Text("Mood", "x")}, false),
              kAudio);
    // A blank tag isn't seen as one to replace.
    EXPECT_EQ(Written<TagID3v1>(File({}), {Text("Title", "t")}), File({}) + Id3v1({.title = "t"}));
    changed.album = "";
    EXPECT_EQ(Without<TagID3v1>(File(kFull), u"ALBUM"), File(changed));
    EXPECT_EQ(Without<TagID3v1>(File(kFull), u"Mood"), File(kFull));
    EXPECT_EQ(Without<TagID3v1>(File({.genre = 5}), u"Genre"), kAudio);
}

}  // namespace
