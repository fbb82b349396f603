// Tag blobs as hosts hand them over, byte by byte.
#include "tags/idtags.h"

#include <gtest/gtest.h>

#include <limits>

#include "kit/files.h"
#include "support/clfile.h"
#include "tag_bytes.h"

namespace {

using Tags = std::vector<kit::Tag>;

std::string Wide(const std::string& ascii) {
    std::string text;
    for (const char c : ascii) text += std::string{c, '\0'};
    return text + std::string(2, '\0');
}

// An entry whose length field says what it is, and `more` than that.
std::string Entry(const std::string& body, int more = 0) {
    return Little32(static_cast<std::uint32_t>(body.size() + 4) + static_cast<std::uint32_t>(more)) + body;
}

Tags Parsed(const std::string& blob) {
    IDTags tags;
    tags.AddText(u"from", u"before");
    tags.Parse(blob.data(), static_cast<std::int32_t>(blob.size()));
    return Entries(tags);
}

TEST(IDTagsParse, TakesWhatFits) {
    const std::string first = Entry(Wide("a") + Wide("1"));
    const std::string second = Entry(Wide("b") + Wide("2") + "data");
    const kit::Tag a = Text("a", "1");
    const kit::Tag b{"b", "2", "data"};
    struct Case {
        const char* what;
        std::string blob;
        Tags tags;
    };
    const Case cases[] = {
        {"nothing", "", {}},
        {"less than a count", std::string("\x01\0\0", 3), {}},
        {"a count alone", Little32(1), {}},
        {"all that is counted", Little32(2) + first + second, {a, b}},
        {"no more than is counted", Little32(1) + first + second, {a}},
        {"no more than there is", Little32(9) + first + second, {a, b}},
        {"a count below nought", Little32(0xFFFFFFFF) + first, {}},
        {"an entry without a value ends all", Little32(2) + Entry(Wide("a")) + second, {Text("a", "")}},
        {"an entry without an end to its name", Little32(2) + Entry("xyz") + second, {{"", "", "xyz"}, b}},
        {"an entry without an end to its value", Little32(1) + Entry(Wide("a") + "xyz"), {{"a", "", "xyz"}}},
        {"an entry of its length alone ends all", Little32(2) + Entry("") + second, {Text("", "")}},
        {"a length that is too small ends all", Little32(2) + Entry("", -1) + second, {Text("", "")}},
        {"a length behind the end", Little32(1) + Entry(Wide("a") + Wide("1"), 1), {}},
        {"a length below nought", Little32(2) + Little32(0x80000000) + second, {}},
        {"a length that is cut off", Little32(2) + first + "\x08", {a}},
        {"a length that is cut off and would fit", Little32(2) + first + std::string("\x02\0", 2), {a}},
        {"a text of an odd number of bytes",
         Little32(1) + Entry(Wide("a") + Wide("1") + "d"),
         {{"a", "1", "d"}}}};
    for (const Case& c : cases) EXPECT_EQ(Parsed(c.blob), c.tags) << c.what;

    IDTags tags;
    const std::string blob = Little32(1) + first;
    for (const std::int32_t size : {0, 4, -1, std::numeric_limits<std::int32_t>::min()}) {
        tags.Parse(blob.data(), size);
        EXPECT_EQ(tags.count(), 0) << size;
    }
    tags.Parse(nullptr, 100);
    EXPECT_EQ(tags.count(), 0);
}

TEST(IDTags, TellTheEntryTouchedLast) {
    IDTags tags;
    EXPECT_EQ(tags.Current, nullptr);
    tags.AddText(kTagVersionName, u"first");
    tags.AddText(u"a", u"1");
    tags.AddText(kTagVersionName, u"second");
    EXPECT_EQ(tags.Current, &tags[2]);
    EXPECT_EQ(tags.Find(u"A", false), &tags[1]);
    EXPECT_EQ(tags.Current, &tags[1]);
    EXPECT_EQ(tags.Find(u"none", false), nullptr);
    EXPECT_EQ(tags.Current, &tags[2]) << "looked at last";
    EXPECT_EQ(tags.TakeVersion(), clString(u"first"));
    EXPECT_EQ(tags.Current, nullptr) << "removed";
    tags.Find(u"a", false);
    EXPECT_EQ(tags.TakeVersion(), clString(u"second"));
    EXPECT_EQ(tags.TakeVersion(), clString());
    EXPECT_EQ(tags.Current, &tags[0]) << "walked by";
    tags.AddText(u"b", u"2");
    tags.RemoveAt(0);
    EXPECT_EQ(tags.Current, &tags[0]) << "another one was removed";
    EXPECT_FALSE(tags.Remove(u"none"));
    IDTags taker;
    taker.AddText(u"own", u"");
    IDTag* const b = &tags[0];
    tags.AddText(u"unwanted", u"");
    taker.TakeIf(tags, [](const IDTag& tag) { return tag.Value == clString(u"2"); });
    EXPECT_EQ(taker.Current, b);
    EXPECT_EQ(taker.count(), 2);
    EXPECT_EQ(tags.count(), 0);
    EXPECT_EQ(tags.Current, nullptr);
    EXPECT_TRUE(taker.Remove(u"B"));
    EXPECT_EQ(taker.Current, nullptr);
}

TEST(IDTags, FetchWhatWasLeftInTheFile) {
    const kit::TempFolder folder;
    kit::WriteFile(folder / "x", "01234567");
    clFile file((folder / "x").u16string());
    ASSERT_TRUE(file.Open(clFile::kRead));
    IDTags tags;
    tags.AddText(u"a", u"1");
    tags.AddStored(u"b", {2, 3});
    clBuffer blob;
    ASSERT_TRUE(tags.Serialise(blob, &file));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(blob.data()), blob.size()),
              Little32(2) + Entry(Wide("a") + Wide("1")) + Entry(Wide("b") + Wide("") + "234"));
    EXPECT_FALSE(tags.Serialise(blob)) << "there is no file";
    EXPECT_EQ(blob.size(), 0U);
    tags[1].Stored = {6, 3};
    EXPECT_FALSE(tags.Serialise(blob, &file)) << "the file ends inside";
    EXPECT_EQ(blob.size(), 0U);
}

}  // namespace
