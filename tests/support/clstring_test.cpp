#include "support/clstring.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/cllists.h"

namespace {

TEST(clString, KeepsItsMemoryWhenMadeEmpty) {
    clString text;
    text.Set(u"");
    EXPECT_EQ(text.capacity(), 0) << "the shared empty string was replaced";
    text.Set(u"abc");
    const std::int32_t capacity = text.capacity();
    text.Set(static_cast<const char16_t*>(nullptr));
    EXPECT_EQ(text.size(), 1);
    EXPECT_EQ(text.capacity(), capacity);
}

TEST(clString, EditsByOneBasedPositions) {
    clString text(u"bcd");
    EXPECT_EQ(text.Find(u"c"), 2);
    EXPECT_EQ(text.Find(u"x"), 0);
    EXPECT_EQ(text.Find(u"C", 1, true), 2);
    EXPECT_EQ(text.Find(u"b", 2), 0);
    EXPECT_EQ(text.Find(u"b", 0), 0);
    text.Insert(u"a", 1);
    text.Insert(u"z", 9);
    EXPECT_EQ(text, clString(u"abcd"));
    text.Append(text);
    EXPECT_EQ(text, clString(u"abcdabcd"));
    text.Erase(5, 100);
    EXPECT_EQ(text.Mid(2, 3), clString(u"bc"));
    EXPECT_EQ(text.Mid(3, 2), clString());
    clString head;
    clString tail;
    clString(u"1/12/3").SplitAt(head, tail);
    EXPECT_EQ(head, clString(u"1"));
    EXPECT_EQ(tail, clString(u"12/3"));
}

TEST(clString, FindsTheExtension) {
    const std::pair<const char16_t*, const char16_t*> cases[] = {
        {u"C:\\a.b\\c.TTA", u".TTA"}, {u"C:\\a.b\\c", u"."}, {u"", u"."}, {u"x.", u"."}, {u"a.b.c", u".c"}};
    for (const auto& [path, extension] : cases)
        EXPECT_EQ(clString(path).FileExtension(), clString(extension));
}

TEST(clString, Compares) {
    EXPECT_EQ(clString::Compare(u"ABCx", u"abcy", 3, true), 0);
    EXPECT_EQ(clString::Compare(u"abc", u"abcd"), -1);
    EXPECT_EQ(clString::Compare(u"abcd", u"abc", -1), 0);
    EXPECT_EQ(clString::Compare(u"a", static_cast<const char16_t*>(nullptr)), 1);
    EXPECT_FALSE(clString::EqualsNoCase(u"\u00C4", u"\u00E4")) << "only ASCII letters fold";
}

TEST(clString, ReadsAndShowsNumbers) {
    EXPECT_EQ(clString::FromHex(255), clString(u"00000000000000FF"));
    EXPECT_EQ(clString::FromInt(std::numeric_limits<std::int64_t>::min()), clString(u"-9223372036854775808"));
    EXPECT_EQ(clString(u"  -12x").ToInt(), -12);
    EXPECT_EQ(clString(u"x").ToInt(), 0);
    EXPECT_EQ(clString(u" +2.75e3").ToDouble(), 2.75);
    EXPECT_EQ(clString(u"-.5 7").ToDouble(), -0.5);

    struct Case {
        double value;
        int decimals;
        bool keepZeros;
        const char16_t* text;
    };
    const Case cases[] = {{2.5, 0, false, u"3"},
                          {-1.25, 2, false, u"-1.25"},
                          {1.5, 3, true, u"1.500"},
                          {1.5, 3, false, u"1.5"},
                          {0.04, 2, false, u"0.04"},
                          {3, 2, false, u"3"},
                          {std::nan(""), 2, false, u"NAN"},
                          {1e100, 2, false, u"NaN"},
                          {9999999999999998.0, 0, false, u"9999999999999998"},
                          {1e16, 0, false, u"10000000000000000"},
                          {99999999999999984.0, 0, false, u"99999999999999980"},
                          {1e20, 0, false, u"100000000000000000000"}};
    for (const Case& c : cases) {
        EXPECT_EQ(clString::FromDouble(c.value, c.decimals, c.keepZeros), clString(c.text)) << c.value;
    }
}

TEST(clString, FormatsWithAndWithoutTheRuntime) {
    const FormatArgument arguments[] = {-5, u"x", 1.5, 255U};
    const char16_t* format = u"%04i|%s|%.2f|%X|%%";
    EXPECT_EQ(clString::Format(format, -5, u"x", 1.5, 255U), clString(u"-005|x|1.50|FF|%"));
    EXPECT_EQ(clString::FormatFallback(format, arguments), clString(u"-005|x|1.50|FF|%"));
    EXPECT_EQ(clString::Format(u"%u", -1), clString(u"4294967295"));
    EXPECT_EQ(clString::Format(u"%i", 0xFFFFFFFFU), clString(u"-1"));
    EXPECT_EQ(clString::FormatFallback(u"a%1.2.3f", arguments), clString()) << "a second point empties";
    EXPECT_EQ(clString::FormatFallback(u"a%5", arguments), clString()) << "an unfinished directive empties";
}

TEST(clString, ConvertsToAndFromBytes) {
    clString text;
    text.SetFromUtf8("\xF0\x9F\x8E\xB5\xC3\x28!");
    EXPECT_EQ(text, clString(u"\U0001F3B5\uFFFD(!"));
    const char16_t lone[] = {u'a', 0xD800, u'b', 0};
    EXPECT_STREQ(clString(lone).Utf8(),
                 "a\xEF\xBF\xBD"
                 "b");
}

TEST(clStringList, SplitsAndReadsMultiStrings) {
    clStringList list;
    list.Split(u"a\r\rb\r");
    ASSERT_EQ(list.count(), 4);
    EXPECT_EQ(list[0], clString(u"a"));
    EXPECT_EQ(list[1], clString());
    EXPECT_EQ(list[3], clString());
    list.Split(u"");
    EXPECT_EQ(list.count(), 0);
    list.FromMultiString(u"x\0[Empty]\0y\0\0z\0");
    ASSERT_EQ(list.count(), 3);
    EXPECT_EQ(list[1], clString());
    EXPECT_EQ(list[2], clString(u"y"));
}

TEST(clPtrList, GrowsBeyondItsInlineSlots) {
    clPtrList<int> list;
    int values[100];
    for (int& value : values) list.Add(&value);
    EXPECT_EQ(list.count(), 100);
    EXPECT_EQ(list.capacity(), 16 + 32 + 64);
    for (int i = 0; i < 100; ++i) ASSERT_EQ(list[i], &values[i]);
    list.Clear();
    EXPECT_EQ(list.capacity(), 16);
    EXPECT_EQ(list.growth(), 32);
}

}  // namespace
