#include "support/clstring.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/codepage.h"
#include "platform/error.h"
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

TEST(clString, TakesTheRoomThatItNeeds) {
    clString text;
    text.SetFromUtf8("abc");
    EXPECT_EQ(text.capacity(), 4);
    text.AppendGrow(u"defghi");
    EXPECT_EQ(text, clString(u"abcdefghi"));
    EXPECT_EQ(text.capacity(), 10 + 9 / 3) << "and a third of the new length";
}

TEST(clString, CarriesItsWordAlong) {
    clString text(u"a");
    text.tag = 5;
    const clString copied(text);
    EXPECT_EQ(copied.tag, 5);
    clString assigned;
    assigned = copied;
    EXPECT_EQ(assigned.tag, 5);
    clString moved(std::move(assigned));
    EXPECT_EQ(moved.tag, 5);
    clString last;
    last = std::move(moved);
    EXPECT_EQ(last.tag, 5);
    EXPECT_EQ(last, text);
}

TEST(clString, EditsByOneBasedPositions) {
    clString text(u"bcd");
    EXPECT_EQ(text.Find(u"c"), 2);
    EXPECT_EQ(text.Find(u"b"), 1);
    EXPECT_EQ(text.Find(u"x"), 0);
    EXPECT_EQ(text.Find(u"C", 1, true), 2);
    EXPECT_EQ(text.Find(u"b", 2), 0);
    EXPECT_EQ(text.Find(u"b", 0), 0);
    text.Insert(u"a", 1);
    text.Insert(u"z", 9);
    EXPECT_EQ(text, clString(u"abcd"));
    text.Append(text);
    EXPECT_EQ(text, clString(u"abcdabcd"));
    text.Insert(u"z", 0);
    text.Insert(text.View().substr(2, 2), 8);
    EXPECT_EQ(text, clString(u"abcdabccdd")) << "a part of the text itself";
    text.Erase(8, 9);
    text.Erase(0, 3);
    text.Erase(3, 2);
    text.Erase(9, 9);
    EXPECT_EQ(text, clString(u"abcdabcd"));
    text.Erase(5, 100);
    EXPECT_EQ(text.Mid(2, 3), clString(u"bc"));
    EXPECT_EQ(text.Mid(3, 2), clString());
    EXPECT_EQ(text.Mid(6, 9), clString()) << "behind the end";
    clString head;
    clString tail;
    clString(u"1/12/3").SplitAt(head, tail);
    EXPECT_EQ(head, clString(u"1"));
    EXPECT_EQ(tail, clString(u"12/3"));
}

TEST(clString, TrimsAndEnds) {
    clString text(u"  \tx ");
    text.TrimLeft();
    EXPECT_EQ(text, clString(u"\tx ")) << "blanks in front alone";
    for (int i = 0; i < 2; ++i) {
        text.AppendBackslash();
        EXPECT_EQ(text, clString(u"\tx \\"));
    }
    clString empty;
    empty.AppendBackslash();
    EXPECT_EQ(empty, clString(u"\\"));
    platform::SetLastError(5);
    EXPECT_EQ(clString::LastErrorText(), clString(u"(Win:5)"));
    platform::SetLastError(platform::kErrorNone);
    EXPECT_EQ(clString::LastErrorText(), clString());
}

TEST(clString, FindsTheExtension) {
    const std::pair<const char16_t*, const char16_t*> cases[] = {
        {u"C:\\a.b\\c.TTA", u".TTA"}, {u"C:\\a.b\\c", u"."}, {u"", u"."}, {u"x.", u"."}, {u"a.b.c", u".c"}};
    for (const auto& [path, extension] : cases)
        EXPECT_EQ(clString(path).FileExtension(), clString(extension));
}

TEST(clString, Compares) {
    const struct {
        const char16_t* first;
        const char16_t* second;
        std::int32_t units;  // -1: those of the second
        bool ignoreCase;
        int order;
    } cases[] = {
        {u"ax", u"ay", 1, false, 0},    {u"ABCx", u"abcy", 3, true, 0},      {u"ABCx", u"abcy", 4, true, -1},
        {u"ABC", u"abc", 0, false, -1}, {u"b", u"a", 0, false, 1},           {u"abc", u"abcd", 0, false, -1},
        {u"abcd", u"abc", 0, false, 1}, {u"abcd", u"abc", -1, false, 0},     {u"abc", u"abcd", -1, false, -1},
        {u"az", u"AZ", 0, true, 0},     {u"@[`{", u"@[`{", 0, true, 0},      {u"@", u"`", 0, true, -1},
        {u"[", u"{", 0, true, -1},      {u"\u00C4", u"\u00E4", 0, true, -1}, {u"a", nullptr, 0, true, 1}};
    for (const auto& c : cases)
        EXPECT_EQ(clString::Compare(c.first, c.second, c.units, c.ignoreCase), c.order);
    EXPECT_TRUE(clString::EqualsNoCase(u"aB", u"Ab"));
    EXPECT_FALSE(clString::EqualsNoCase(u"", static_cast<const char16_t*>(nullptr)));
    EXPECT_TRUE(clString::BeginsWithNoCase(u"abC", u"aBc"));
    EXPECT_FALSE(clString::BeginsWithNoCase(u"ab", u"abc"));
}

TEST(clString, ReadsAndShowsNumbers) {
    EXPECT_EQ(clString::FromHex(255), clString(u"00000000000000FF"));
    EXPECT_EQ(clString::FromInt(std::numeric_limits<std::int64_t>::min()), clString(u"-9223372036854775808"));
    EXPECT_EQ(clString(u"  -12x").ToInt(), -12);
    EXPECT_EQ(clString(u"x").ToInt(), 0);
    EXPECT_EQ(clString(u"+9/").ToInt(), 9);
    EXPECT_EQ(clString(u"10:").ToInt(), 10);
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
    const char16_t* format = u"%04i|%s|%.2f|%X|%%";
    const FormatArgument arguments[] = {-5, u"x", 1.5, 255U};
    EXPECT_EQ(clString::Format(format, -5, u"x", 1.5, 255U), clString(u"-005|x|1.50|FF|%"));
    EXPECT_EQ(clString::FormatFallback(format, arguments), clString(u"-005|x|1.50|FF|%"));
    EXPECT_EQ(clString::FormatFallback(u"a%1.2.3f", arguments), clString()) << "a second point empties";
    EXPECT_EQ(clString::FormatFallback(u"a%5", arguments), clString()) << "an unfinished directive empties";

    // What the runtime makes of one argument, and the fallback where it differs.
    const struct {
        const char16_t* format;
        FormatArgument argument;
        const char16_t* text;
        const char16_t* fallback = text;
    } cases[] = {
        {u"%u", -1, u"4294967295"},
        {u"%i", 0xFFFFFFFFU, u"-1"},
        {u"%lld|%i", std::int64_t{1} << 40, u"1099511627776|"},
        {u"%lld", 1LL << 40, u"1099511627776"},
        {u"%llu", ~0ULL, u"18446744073709551615"},
        {u"%+5d", 42, u"  +42"},
        {u"%d", 12L, u"12"},
        {u"%+05d", -42, u"-0042"},
        {u"%10u|", 7U, u"         7|"},
        {u"%-4d|", 7, u"7   |", u"   7|"},
        {u"%x", 0xABCU, u"abc"},
        {u"%X", 0U, u"0"},
        {u"%o", 8U, u"10", u""},
        {u"%c%c", 65, u"A"},
        {u"%3c", 65, u"  A"},
        {u"%3s|", u"ab", u" ab|"},
        {u"%2s|", u"ab", u"ab|"},
        {u"%-3s|", u"ab", u"ab |", u" ab|"},
        {u"%.1s|", u"ab", u"a|", u"ab|"},
        {u"%.0s|", u"ab", u"|", u"ab|"},
        {u"%.3f", -0.5, u"-0.500"},
        {u"%8.1f", -2.3125, u"    -2.3"},
        {u"%f", 1, u"1.000000"},
        {u"%.9f", 1.5, u"1.500000000"},
        {u"%.f", 2.0, u"2"},
        {u"%.2e", 1234.5, u"1.23e+03", u""},
        {u"%d", u"text", u"0"},
        {u"%s", 5, u""},
        {u"%d", 1.5, u"0"},
        {u"100%", 5, u"100", u""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(clString::FormatList(c.format, {c.argument}), clString(c.text))
            << clString(c.format).Utf8();
        EXPECT_EQ(clString::FormatFallback(c.format, std::span(&c.argument, 1)), clString(c.fallback))
            << clString(c.format).Utf8() << ", without the runtime";
    }
    EXPECT_EQ(clString::Format(u"%*i|%.*f|%-*s|", 4, 7, 1, 2.5, 3, u"x"), clString(u"   7|2.5|x  |"));
    EXPECT_EQ(clString::Format(u"%*i|", -9, 7), clString(u"7|")) << "a negative width is none";
}

TEST(clString, ConvertsToAndFromBytes) {
    clString text;
    text.SetFromUtf8("");
    EXPECT_EQ(text.capacity(), 0);
    text.SetFromUtf8("ab\x7F");
    EXPECT_EQ(text, clString(u"ab\x7F"));
    text.SetFromUtf8("\xF1\x80\x80\x80\xF4\x8F\xBF\xBF");
    EXPECT_EQ(text, clString(u"\U00040000\U0010FFFF"));
    text.SetFromUtf8("\xF0\x9F\x8E\xB5\xC3\x28!");
    EXPECT_EQ(text, clString(u"\U0001F3B5\uFFFD(!"));
    // Overlong, surrogates, beyond the last character, and lead bytes that none begins with.
    for (const char* stray : {"\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
                              "\xF4\x90\x80\x80", "\xFF", "\x80"}) {
        text.SetFromUtf8(stray);
        EXPECT_EQ(text.View().find_first_not_of(u'\uFFFD'), std::u16string_view::npos) << +text.View()[0];
    }
    EXPECT_EQ(platform::FromWide(platform::CodePage::Latin1, u"a\u00E9\u4E00"), "a\xE9?");
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
    list.FromMultiString(nullptr);
    EXPECT_EQ(list.count(), 0);
    list.FromMultiString(u"x\0[Empty]\0y\0\0z\0");
    list.FromMultiString(u"x\0[Empty]\0y\0\0z\0");
    ASSERT_EQ(list.count(), 3) << "it takes the place of what was there";
    EXPECT_EQ(list[1], clString());
    EXPECT_EQ(list[2], clString(u"y"));
    clStringList other;
    other.AddCopy(u"z", 5);
    other.TakeAll(other);
    EXPECT_EQ(other.count(), 1) << "a list can't take from itself";
    list.TakeAll(other);
    EXPECT_EQ(other.count(), 0);
    ASSERT_EQ(list.count(), 4);
    EXPECT_EQ(list[3].tag, 5);
    const clString& moved = list.AddMove(u"m");
    EXPECT_EQ(&moved, &list[4]);
    EXPECT_EQ(list[4], clString(u"m"));
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
