#include <gmock/gmock.h>

#include "engine_file.h"
#include "tags/tag_apev2.h"

namespace {

using Tags = std::vector<kit::Tag>;

const std::string kAudio(300, 'a');
const std::string kPng = "\x89PNG picture";
const std::string kJpeg = "\xFF\xD8\xFF picture";
const std::string kOldTag = Id3v1({.title = "Behind", .artist = "", .album = "", .year = "", .comment = ""});

class Apev2 : public EngineFile {};

ApeItem Cover(const std::string& side, const std::string& value) {
    return {"Cover Art " + side, value, 2};
}

TEST_F(Apev2, ItemsBecomeTags) {
    struct Case {
        const char* what;
        std::vector<ApeItem> items;
        Tags tags;
    };
    const Case cases[] = {
        {"several values, and a NUL at the end",
         {{"a", "x" + kNul + "y"}, {"b", "x" + kNul + "y" + kNul}, {"c", "x" + kNul + kNul}},
         {Text("a", "x\ry"), Text("b", "x\ry"), Text("c", "x\r")}},
        {"mapped keys",
         {{"bpm", "1"}, {"TOOL NAME", "2"}, {"Crc", "3"}, {"BPM2", "4"}},
         {Text("tempo", "1"), Text("Encoded by", "2"), Text("_crc", "3"), Text("BPM2", "4")}},
        {"covers",
         {Cover("(Back)", "n" + kNul + kPng),
          Cover("(front)", "no end of the name"),
          Cover("(front)", "n" + kNul),
          {"COVER ART (FRONT)", "n" + kNul + kJpeg, 2},
          Cover("(leaflet)", kNul + kPng),
          {"Cover Art (x", "text"},
          {"Cover Art", "n" + kNul + "d", 2}},
         {Binary("_albumart_1_Back Album Cover", kPng), Binary("_albumart_4_Front Album Cover", kJpeg),
          Binary("_albumart_5", kPng), Text("_albumart_6", "text"), Binary("Cover Art", "n" + kNul + "d")}},
        {"what isn't a tag",
         {{"link", "x", 4}, {"odd", "x", 6}, {"", "x"}, {"Cover Art (", ""}, Cover("(", kNul + "p")},
         {Binary("_albumart_1", "p")}},
        {"ratings and another application's names",
         {{"Media JukeBox: Rating", "3.5"},
          {"RATING", "2.75"},
          {"rating", "-1.5 x"},
          {"media jukebox: A", "b"}},
         {Text("Rating", "7"), Text("RATING", "5"), Text("rating", "-3"), Text("A", "b")}},
        {"UTF-8 in names and values", {{"T\xC3\xAF", "\xE2\x82\xAC"}}, {Text("T\xC3\xAF", "\xE2\x82\xAC")}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        for (const std::string& behind : {std::string(), kOldTag}) {
            EXPECT_EQ(Read<TagAPEv2>(kAudio + Ape(c.items) + behind), c.tags);
        }
    }
    EXPECT_EQ(
        Read<TagAPEv2>(kAudio + Ape({{"T\xEF", "\x80" + kNul}}, {.version = 1000, .header = false}), true),
        (Tags{Text("T\xC3\xAF", "\xE2\x82\xAC"), Text("TagVersion", "APEv1")}));
}

TEST_F(Apev2, WhatIsATagAndWhatIsDamaged) {
    const std::vector<ApeItem> two{{"a", "1"}, {"b", "2"}};
    const Tags none;
    const Tags both{Text("a", "1"), Text("b", "2"), Text("TagVersion", "APEv2")};
    const Tags first{Text("a", "1"), Text("TagVersion", "APEv2")};
    const std::string half(66, 'a');
    struct Case {
        const char* what;
        std::string bytes;
        Tags tags;
        bool result;
        bool exists;
    };
    // The magic at the very place of an ID3v1 tag.
    const std::string at131 = Ape({{"key", std::string(131 - 64 - 12, 'v')}});
    ASSERT_EQ(at131.size(), 131U);
    std::string overrun = Ape(two);
    overrun[32 + 11] = '\2';  // the size of the second value
    const Case cases[] = {
        {"130 bytes", half + Ape({}), none, true, false},
        {"131 bytes", "a" + half + Ape({}), none, true, true},
        {"no tag", kAudio, none, true, false},
        {"ID3v1 alone", kAudio + kOldTag, none, true, false},
        {"a tag of 131 bytes",
         kAudio + at131,
         {Text("key", std::string(55, 'v')), Text("TagVersion", "APEv2")},
         true,
         true},
        {"version 3000", kAudio + Ape(two, {.version = 3000}), none, true, false},
        {"a header at the end", kAudio + Ape(two).substr(0, 32), none, true, false},
        {"size 31", kAudio + Ape(two, {.size = 31}), none, false, true},
        {"size beyond the file", kAudio + Ape(two, {.size = 10000}), none, false, true},
        {"size of 4 GiB", kAudio + Ape(two, {.size = 0xFFFFFFFF}), none, false, true},
        {"size 32", kAudio + Ape(two, {.size = 32}), none, true, true},
        {"count 1", kAudio + Ape(two, {.count = 1}), first, true, true},
        {"count of 4 billion", kAudio + Ape(two, {.count = 0xFFFFFFFF}), both, true, true},
        {"a value that ends behind the tag", kAudio + overrun, first, true, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(Read<TagAPEv2>(c.bytes, true, c.result), c.tags);
        With<TagAPEv2>(c.bytes, [&](TagAPEv2& engine) { EXPECT_EQ(engine.Exists(), c.exists); });
    }
    const std::string large(0x1000000, 'v');
    EXPECT_EQ(Read<TagAPEv2>(Ape({{"a", large}, {"b", "2"}})), (Tags{Text("a", large), Text("b", "2")}));
    EXPECT_EQ(Read<TagAPEv2>(Ape({{"b", "2"}, {"a", large + "v"}, {"c", "3"}})), (Tags{Text("b", "2")}));
}

TEST_F(Apev2, NewTagIsWrittenToTheByte) {
    const Tags tags{Text("Artist", "A\rB\r"),
                    Text("Title", "A\rB"),
                    Text("tempo", "120"),
                    Text("rating", "7"),
                    Text("Empty", ""),
                    Binary("blob", "x" + kNul),
                    Text("Encoded by", "\xC3\xA9\xE4\xB8\x80"),
                    Binary("_albumart_1_Media", kJpeg),
                    Binary("_albumart_2_bACK Album cover<subdesc>d", kPng),
                    Binary("_albumart_3_Band", "PNG"),
                    Binary("_albumart_4_Band", "\x89PN-----")};
    const std::vector<ApeItem> items{{"Artist", "A" + kNul + "B" + kNul},
                                     {"Title", "A\rB"},
                                     {"BPM", "120"},
                                     {"rating", "3.5"},
                                     {"Empty", ""},
                                     {"blob", "x" + kNul, 2},
                                     {"Tool Name", "\xC3\xA9\xE4\xB8\x80"},
                                     Cover("(front)", "C:\\Pretend.jpg" + kNul + kJpeg),
                                     Cover("(back)", "C:\\Pretend.png" + kNul + kPng),
                                     Cover("(front)", "C:\\Pretend.jpg" + kNul + "PNG"),
                                     Cover("(front)", "C:\\Pretend.jpg" + kNul + "\x89PN-----")};
    EXPECT_EQ(Written<TagAPEv2>(kAudio + kOldTag, tags), kAudio + Ape(items) + kOldTag);

    std::vector<ApeItem> old = items;
    for (ApeItem& item : old) item.value += item.flags == 0 ? kNul : "";
    old[6].value = "\xE9?" + kNul;
    const std::string oldTag = Ape(old, {.version = 1000, .header = false});
    EXPECT_EQ(Written<TagAPEv2>(kAudio, tags, true, u"APEWriteAPE1Tag"), kAudio + oldTag);
    // A tag keeps its version, whatever the option says.
    EXPECT_EQ(Written<TagAPEv2>(kAudio + oldTag + kOldTag, {Text("a", "b")}, false),
              kAudio + Ape({{"a", "b" + kNul}}, {.version = 1000, .header = false}) + kOldTag);
    EXPECT_EQ(Written<TagAPEv2>(kAudio + Ape(items), {Text("rating", "3.5")}, false, u"APEWriteAPE1Tag"),
              kAudio + Ape({{"rating", "3.5"}}));
}

TEST_F(Apev2, MergeKeepsWhatIsNotNamed) {
    const std::vector<ApeItem> items{{"First", "1"},
                                     {"Media JukeBox: Rating", "2"},
                                     Cover("(front)", "n" + kNul + "old"),
                                     {"Link", "x", 4},
                                     {"unknown", "u", 2}};
    const std::string cover = "C:\\Pretend.jpg" + kNul;
    EXPECT_EQ(
        Written<TagAPEv2>(kAudio + Ape(items) + kOldTag,
                          {Text("rating", "10"), Binary("_ALBUMART_1_front album cover<subdesc>d", "new"),
                           Text("FIRST", "2"), Text("Media JukeBox: B", "x"), Text("B", "y")}),
        kAudio +
            Ape({{"FIRST", "2"},
                 {"Media JukeBox: rating", "5"},
                 Cover("(front)", cover + "new"),
                 {"unknown", "u", 2},
                 {"Media JukeBox: B", "x"},
                 {"B", "y"}}) +
            kOldTag);
    // A mere beginning of a prefixed name takes the prefix, too.
    EXPECT_EQ(Written<TagAPEv2>(kAudio + Ape({{"Media JukeBox: Rating", "2"}}), {Text("Rat", "x")}),
              kAudio + Ape({{"Media JukeBox: Rating", "2"}, {"Media JukeBox: Rat", "x"}}));
    EXPECT_EQ(Written<TagAPEv2>(kAudio + Ape(items) + kOldTag, {}, false), kAudio + kOldTag);
}

// Names are looked up in another way then; the first and last letters count as much as the others.
TEST_F(Apev2, MergeFindsNamesAmongMany) {
    std::vector<ApeItem> items;
    for (int i = 0; i < 40; ++i) items.push_back({"name " + std::to_string(i), "v"});
    items.push_back({"AZ", "old"});
    std::vector<ApeItem> merged = items;
    merged.back() = {"az", "new"};
    EXPECT_EQ(Written<TagAPEv2>(kAudio + Ape(items), {Text("az", "new")}), kAudio + Ape(merged));
}

// A flag alone says little: writers set it in the wrong record, and files are cut.
TEST_F(Apev2, TheFileBearsOutWhatAFooterSaysOfItself) {
    constexpr std::uint32_t kBoth = 0xA0000000, kIsHeader = 0x20000000, kHasHeader = 0x80000000;
    const std::vector<ApeItem> items{{"a", "1"}, {"b", "2"}};
    const Tags both{Text("a", "1"), Text("b", "2")};
    const std::string tag = Ape({{"new", "n"}});
    const std::string bare = Ape(items, {.header = false});
    std::string plainHeader = Ape(items);
    plainHeader[23] = '\x80';
    std::string otherHeader = Ape(items, {.flags = kBoth});
    otherHeader[16] = 3;
    struct Case {
        const char* what;
        std::string bytes;
        Tags tags;
        std::string rest;  // what a new tag stands behind
    };
    const Case cases[] = {
        {"flagged, with its header", kAudio + Ape(items, {.flags = kBoth}), both, kAudio},
        {"flagged, without one", kAudio + Ape(items, {.header = false, .flags = kIsHeader}), both, kAudio},
        {"flagged, of version 1",
         kAudio + Ape({{"a", "1" + kNul}}, {.version = 1000, .header = false, .flags = kIsHeader}),
         {Text("a", "1")},
         kAudio},
        {"flagged, and the header says another thing", kAudio + otherHeader, {}, kAudio + otherHeader},
        {"the rest of a tag", kAudio + tag.substr(0, 32), {}, kAudio + tag.substr(0, 32)},
        {"the same without the other flag",
         kAudio + Ape({}, {.header = false, .size = 99, .count = 2, .flags = kIsHeader}),
         {},
         kAudio + Ape({}, {.header = false, .size = 99, .count = 2, .flags = kIsHeader})},
        {"one item too many",
         kAudio + Ape(items, {.header = false, .count = 1, .flags = kIsHeader}),
         {},
         kAudio + Ape(items, {.header = false, .count = 1, .flags = kIsHeader})},
        {"audio in the place of the header", kAudio + Ape(items, {.header = false, .flags = kHasHeader}),
         both, kAudio},
        {"another tag's footer there",
         kAudio + bare + Ape({{"a", "1"}}, {.header = false, .flags = kHasHeader}),
         {Text("a", "1")},
         kAudio + bare},
        {"a header with the footer's flags", kAudio + plainHeader, both, kAudio},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        for (const std::string& behind : {std::string(), kOldTag}) {
            EXPECT_EQ(Read<TagAPEv2>(c.bytes + behind), c.tags);
            const std::string written = Written<TagAPEv2>(c.bytes + behind, {Text("new", "n")}, false);
            const bool old = c.bytes.find(Little32(1000)) != std::string::npos;
            EXPECT_EQ(written,
                      c.rest + (old ? Ape({{"new", "n" + kNul}}, {.version = 1000, .header = false}) : tag) +
                          behind);
        }
    }
}

// What the reader doesn't take would be lost at the next write, with all items behind it.
TEST_F(Apev2, RefusesWhatItCouldNotReadBack) {
    const std::string largest(0x1000000, 'v');
    const std::string old = kAudio + Ape({{"a", "b"}}) + kOldTag;
    EXPECT_EQ(Read<TagAPEv2>(Written<TagAPEv2>(old, {Text("a", largest)})), (Tags{Text("a", largest)}));
    const std::string v1 = kAudio + Ape({{"a", "b" + kNul}}, {.version = 1000, .header = false});
    struct Case {
        const std::string& bytes;
        kit::Tag tag;
    };
    const Case cases[] = {{old, Text("c", largest + "v")},
                          {old, Binary("_albumart_1_Media", largest.substr(14))},
                          {v1, Text("c", largest)},
                          // A kept item grows when it gets our name in front of the picture.
                          {kAudio + Ape({Cover("(front)", kNul + largest.substr(1))}), Text("a", "b")}};
    for (const Case& c : cases) {
        EXPECT_EQ(With<TagAPEv2>(c.bytes,
                                 [&](TagAPEv2& engine) {
                                     IDTags tags;
                                     Fill(tags, {c.tag});
                                     EXPECT_EQ(engine.Takes(tags), &c == &cases[3]);
                                     EXPECT_FALSE(engine.Write(tags, true));
                                 }),
                  c.bytes);
    }
}

// Whatever a damaged tag says, nothing in front of it may go, and the ID3v1 tag stays the last.
TEST_F(Apev2, DamagedTagStaysInFrontOfTheNewOne) {
    const std::string item = Ape({{"a", "b"}});
    const std::string v1 = Ape({{"a", "b" + kNul}}, {.version = 1000, .header = false});
    for (const std::uint32_t size : {31U, 0x7FFFFFFFU}) {
        const std::string damaged =
            kAudio + Ape({{"x", "y"}}, {.version = 2000, .header = true, .size = size});
        EXPECT_EQ(Written<TagAPEv2>(damaged + kOldTag, {Text("a", "b")}), damaged + item + kOldTag);
        EXPECT_EQ(With<TagAPEv2>(damaged + kOldTag, [](TagAPEv2& engine) { engine.Delete(); }),
                  damaged + kOldTag);
        EXPECT_EQ(Without<TagAPEv2>(damaged + kOldTag, u"x"), damaged + kOldTag);
        const std::string old = kAudio + Ape({}, {.version = 1000, .header = false, .size = size});
        EXPECT_EQ(Written<TagAPEv2>(old, {Text("a", "b")}), old + v1);
    }
    // A header that would begin in front of the file.
    for (const std::size_t room : {0U, 31U}) {
        const std::string front(room, 'f');
        const std::string headless = Ape({{"x", std::string(200, 'y')}}).substr(32);
        EXPECT_EQ(Written<TagAPEv2>(front + headless + kOldTag, {Text("a", "b")}, false),
                  front + item + kOldTag);
    }
}

TEST_F(Apev2, DeletesByTagName) {
    const std::vector<ApeItem> items{{"BPM", "1"},
                                     Cover("(front)", "n" + kNul + "f"),
                                     Cover("(back)", "n" + kNul + "b"),
                                     {"Media JukeBox: Rating", "2"},
                                     {"bpm", "3"},
                                     {"rating", "3.5"}};
    const std::string bytes = kAudio + Ape(items) + kOldTag;
    const std::string back = "C:\\Pretend.jpg" + kNul + "b";
    const auto rest = [&](std::vector<ApeItem> kept) { return kAudio + Ape(kept) + kOldTag; };
    const ApeItem front = Cover("(front)", "C:\\Pretend.jpg" + kNul + "f");
    EXPECT_EQ(Without<TagAPEv2>(bytes, u"TEMPO"), rest({front, Cover("(back)", back), items[3], items[5]}));
    EXPECT_EQ(Without<TagAPEv2>(bytes, u"rating"),
              rest({{"BPM", "3"}, front, Cover("(back)", back), items[5]}));
    for (const char16_t* name : {u"BPM", u"", u"Rat", u"absent", u"_albumart_1_Media<subdesc>x"}) {
        EXPECT_EQ(Without<TagAPEv2>(bytes, name), bytes) << clString(name).Utf8();
    }
    EXPECT_EQ(Without<TagAPEv2>(bytes, u"_albumart_9_front Album Cover<subdesc>x"),
              rest({{"BPM", "3"}, items[3], items[5], Cover("(back)", back)}));
    EXPECT_EQ(With<TagAPEv2>(bytes, [](TagAPEv2& engine) { engine.Delete(); }), kAudio + kOldTag);
}

}  // namespace
