#include "tags/art_key.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tag_bytes.h"

namespace {

using Tags = std::vector<kit::Tag>;

// A wrong index or a second separator would show a picture under a wrong type or description.
TEST(ArtKey, IsTakenApart) {
    struct Case {
        const char16_t* key;
        const char16_t* type;
        const char16_t* description;
    };
    const Case cases[] = {{u"_albumart_12_Back Album Cover<subdesc>Inlay", u"Back Album Cover", u"Inlay"},
                          {u"_albumart_1_", u"", u""},
                          {u"_albumart_1", u"", u""},
                          {u"_albumart_", u"", u""},
                          {u"_albumart__Media", u"Media", u""},
                          {u"_albumart_1_<subdesc>d", u"", u"d"},
                          {u"_albumart_1_a_b<subdesc>c<subdesc>d", u"a_b", u"c<subdesc>d"},
                          {u"_albumart_1_Media<SUBDESC>x", u"Media<SUBDESC>x", u""}};
    for (const Case& c : cases) {
        clString type = u"old";
        clString description = u"old";
        SplitArtKey(c.key, type, description);
        EXPECT_TRUE(type == clString(c.type) && description == clString(c.description))
            << clString(c.key).Utf8();
    }
}

TEST(ArtKey, TypesHaveTheNumbersOfId3v2) {
    EXPECT_EQ(PictureTypeKeyPart(1), u"_32x32 Icon");
    EXPECT_EQ(PictureTypeKeyPart(20), u"_Publisher Logo");
    EXPECT_EQ(PictureTypeKeyPart(0), u"");
    EXPECT_EQ(PictureTypeKeyPart(21), u"");
    EXPECT_EQ(PictureTypeFromName(u"a bright coloured FISH"), 17);
    EXPECT_EQ(PictureTypeFromName(u"Undefined"), 3);
    EXPECT_EQ(PictureTypeFromName(u""), 3);
}

TEST(ArtKey, FirstPictureIsFoundByPrefix) {
    IDTags tags;
    clString type;
    clString description;
    Fill(tags,
         {Text("a", "b"), Binary("_AlbumArt_12_Media<subdesc>x", "p"), Binary("_albumart_1_Band", "q")});
    EXPECT_EQ(tags.FindFirstArt(type, description), &tags[1]);
    EXPECT_TRUE(type == clString(u"Media") && description == clString(u"x"));
    Fill(tags, {Binary("_albumart_2_Media", "p")});
    EXPECT_EQ(tags.FindFirstArt(type, description), nullptr);
    EXPECT_TRUE(type.IsEmpty() && description.IsEmpty());
}

TEST(ArtKey, RemovalNumbersTheRestAnew) {
    const Tags before{Binary("_albumart_1_Media<subdesc>m", "1"),
                      Text("_mood", "x"),
                      Text("_CRC", "c"),
                      Binary("_albumart_2_Band<subdesc>b", "2"),
                      Text("Title", "t"),
                      Binary("_AlbumArt_7_Artist<subdesc>a", "3"),
                      Text("_Riff_x", "r"),
                      Text("_cdTOC", "d")};
    const Tags spared{Text("_CRC", "c"), Text("Title", "t"), Text("_Riff_x", "r"), Text("_cdTOC", "d")};
    const auto with = [&](Tags more) {
        Tags all = spared;
        all.insert(all.end(), more.begin(), more.end());
        return all;
    };
    struct Case {
        const char16_t* type;
        const char16_t* description;
        Tags after;
    };
    const kit::Tag media = before[0];
    const Case cases[] = {
        {u"bAND", u"none", with({media, Binary("_albumart_2_Artist<subdesc>a", "3")})},
        {u"none", u"m",
         with({Binary("_albumart_1_Band<subdesc>b", "2"), Binary("_albumart_2_Artist<subdesc>a", "3")})},
        {u"Artist", u"b", with({media})},
        {u"Composer", u"", before},   // no picture is without description
        {u"Composer", u"M", before},  // nor is a description another one in its letters
    };
    for (const Case& c : cases) {
        IDTags tags;
        Fill(tags, before);
        EXPECT_EQ(tags.RemoveArt(c.type, c.description), c.after != before);
        EXPECT_EQ(Entries(tags), c.after);
    }
}

}  // namespace
