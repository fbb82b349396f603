#include "codecs/decoders/ffmpeg/qel-matroska/ebml.h"

#include <gtest/gtest.h>

#include <string>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_write.h"
#include "matroska_file.h"

namespace {

using namespace EBML;
using namespace std::string_literals;

// The bytes have to outlive the stream.
StreamMem Over(std::string_view bytes) {
    return StreamMem(std::as_bytes(std::span(bytes)));
}

std::string Text(std::span<const std::byte> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The number, or the text of the failure.
template <typename Read>
std::string Result(const std::string& bytes, Read read) {
    try {
        StreamMem stream = Over(bytes);
        const std::string number = std::to_string(read(stream));
        return number + "@" + std::to_string(stream.Tell());
    } catch (const ParseError& failure) {
        return failure.what();
    }
}

TEST(Ebml, ReadsNumbersWithinTheirWidths) {
    const auto id = [](Stream& stream) { return ReadElementId(stream); };
    const auto size = [](Stream& stream) { return ReadElementSize(stream); };
    EXPECT_EQ(Result("\x1A\x45\xDF\xA3", id), std::to_string(0x0A45DFA3) + "@4");
    EXPECT_EQ(Result("\xEC", id), "108@1");
    EXPECT_EQ(Result("\x08\0\0\0\0"s, id), kCorruptedText) << "an ID of five bytes";
    EXPECT_EQ(Result("\0"s, id), kCorruptedText);
    EXPECT_EQ(Result("\x1A\x45", id), kCorruptedText) << "cut off";
    EXPECT_EQ(Result("\x7F\xFF", size), "16383@2") << "all ones of two bytes are a number";
    EXPECT_EQ(Result("\xFF", size), std::to_string(kUnknownSize) + "@1");
    EXPECT_EQ(Result("\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF", size), std::to_string(kUnknownSize) + "@8");
    EXPECT_EQ(Result("\0"s, size), kCorruptedText);
    const auto number = [](std::uint64_t bytes) {
        return [bytes](Stream& stream) { return ReadUInt(stream, bytes); };
    };
    EXPECT_EQ(Result("\1\2\3", number(2)), "258@2");
    EXPECT_EQ(Result("\1", number(0)), kCorruptedText);
    EXPECT_EQ(Result("123456789", number(9)), kCorruptedText);
    EXPECT_EQ(Result("1", number(2)), kCorruptedText);
}

TEST(Ebml, ReadsTextUpToItsPadding) {
    const auto read = [](const std::string& bytes, bool ascii) -> std::string {
        try {
            StreamMem stream = Over(bytes);
            return ascii ? ReadAscii(stream, bytes.size()) : ReadUtf8(stream, bytes.size());
        } catch (const ParseError&) {
            return "failed";
        }
    };
    EXPECT_EQ(read("webm\0\0"s, true), "webm\0\0"s);
    EXPECT_EQ(read("we\0bm"s, true), "failed");
    EXPECT_EQ(read("we\x1F", true), "failed");
    EXPECT_EQ(read("\xC3\xA9\n\0"s, false), "\xC3\xA9\n\0"s);
    EXPECT_EQ(read("a\0b"s, false), "failed");
    EXPECT_EQ(read("", true), "");
}

TEST(Ebml, WritesNumbersInTheirWidths) {
    const auto written = [](std::uint64_t value) {
        StreamWritableSimple sink;
        WriteVarInt(sink, value);
        return Text(sink.View());
    };
    EXPECT_EQ(written(126), "\xFE");
    EXPECT_EQ(written(127), "\x40\x7F") << "one byte would read as an unknown size";
    EXPECT_EQ(written(16383), "\x7F\xFF");
    EXPECT_EQ(written(0x14D9B74), "\x11\x4D\x9B\x74") << "an ID gets its marker back";
    EXPECT_EQ(written((std::uint64_t{1} << 56) - 1), "\x01" + std::string(7, '\xFF'));
    EXPECT_THROW(written(std::uint64_t{1} << 56), ParseError);
    VarIntBuffer out;
    EXPECT_FALSE(EncodeVarIntFixed(200, out, 1));
    EXPECT_FALSE(EncodeVarIntFixed(127, out, 1));
    EXPECT_FALSE(EncodeVarIntFixed(1, out, 0));
    EXPECT_FALSE(EncodeVarIntFixed(std::uint64_t{1} << 56, out, 8));
    ASSERT_TRUE(EncodeVarIntFixed(200, out, 8));
    EXPECT_EQ(Text(out), "\x01\0\0\0\0\0\0\xC8"s);
    StreamWritableSimple sink;
    WriteUIntElement(sink, 0x46, 0);
    WriteUIntElement(sink, 0x46, 0x1234);
    EXPECT_EQ(Text(sink.View()), "\xC6\x81\0\xC6\x82\x12\x34"s);
}

TEST(Ebml, BuildsVoidsOfEverySizeButOne) {
    EXPECT_THROW(BuildVoid(1), ParseError);
    EXPECT_THROW(BuildVoid(0), ParseError);
    EXPECT_EQ(Text(BuildVoid(2)), "\xEC\x80");
    EXPECT_EQ(Text(BuildVoid(8)), "\xEC\x86" + std::string(6, '\0'));
    EXPECT_EQ(Text(BuildVoid(9)), "\xEC\x01" + std::string(7, '\0'));
    EXPECT_EQ(Text(BuildVoid(300)), matroska_file::Void(300));
}

// A parser that tells what it was called for, and reads nothing.
class Recorder : public Parser {
  public:
    std::string calls;

  protected:
    void OnElement(std::uint32_t id, std::uint64_t size, Stream& stream) override {
        calls += std::to_string(id) + ":" + (size >= kUnknownSize ? "?" : std::to_string(size)) + "/" +
                 std::to_string(stream.LeftInRange()) + "@" + std::to_string(elementStart) + " ";
    }
};

TEST(Ebml, WalksChildrenClampingThemToTheirParent) {
    const auto walk = [](const std::string& bytes) {
        StreamMem stream = Over(bytes);
        Recorder recorder;
        recorder.Run(stream);
        EXPECT_TRUE(recorder.parsed);
        return recorder.calls;
    };
    EXPECT_EQ(walk("\xC6\x82xx\xC7\x80"), "70:2/2@0 71:0/0@4 ");
    EXPECT_EQ(walk("\xC6\x8Axx"), "70:10/2@0 ") << "claims more than there is";
    EXPECT_EQ(walk("\xC6\xFFxx\xC7\x80"), "70:?/4@0 ") << "an unknown size ends the walk";
    EXPECT_EQ(walk("\xC6\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFFxx"), "70:?/2@0 ");
    EXPECT_THROW(walk("\xC6"), ParseError);
    StreamMem unheard = Over("\xC6\x82xx\xC7\x80");
    Parser().Run(unheard);
    EXPECT_EQ(unheard.Tell(), 6U) << "a parser that takes nothing";
    StreamMem stream = Over("\xC6\x82xx\xC7\x80");
    Recorder one;
    EXPECT_THROW(one.RunOne(stream, 0x47), ParseError);
    StreamMem endless = Over("\xC6\xFFxx");
    try {
        one.RunOne(endless, 0x46);
        FAIL() << "one element of unknown size";
    } catch (const ParseError& failure) {
        EXPECT_STREQ(failure.what(), "An element has no size that could be measured");
    }
}

TEST(Ebml, AssertionsRaiseTheirTextAndDestructorsNoteIt) {
    const std::string bytes(10, 'x');
    StreamMem stream = Over(bytes);
    ScopedRange range(stream, 5);
    try {
        range.Narrow(stream, 2);
        FAIL() << "narrowed twice";
    } catch (const ParseError& failure) {
        EXPECT_STREQ(failure.what(), "m_stream == nullptr");
    }
    EXPECT_EQ(TakeNotedAssertion(), nullptr);
    {
        ScopedRange inner(stream, 2);
        stream.m_range.end = 9;
        EXPECT_THROW(inner.Restore(), ParseError);
    }
    EXPECT_STREQ(TakeNotedAssertion(), "r.end >= m_range.end");
    EXPECT_EQ(TakeNotedAssertion(), nullptr);
    EXPECT_EQ(stream.m_range.end, 5U) << "the range is put back all the same";
    stream.Skip(2);
    {
        const ScopedRange outer(stream, 2);
        ScopedRange inner(stream, 1);
        stream.m_range.begin = 1;
        EXPECT_THROW(inner.Restore(), ParseError);
    }
    EXPECT_STREQ(TakeNotedAssertion(), "r.begin <= m_range.begin");
    { const ScopedRange whole(stream, 2); }
    EXPECT_EQ(TakeNotedAssertion(), nullptr) << "nothing was wrong";
    const bool keepGoing = true;
    StreamMem element = Over("\xC6\x80");
    EXPECT_THROW(ParserLambda({}, keepGoing).Run(element), std::bad_function_call);
}

TEST(Ebml, MeasuresAnElementWithTheVoidsBehindIt) {
    const std::string bytes =
        "\xC6\x82xx" + matroska_file::Void(4) + matroska_file::Void(9) + "\xC7\x80" + matroska_file::Void(3);
    const auto measure = [&](std::uint64_t limit) {
        StreamMem stream = Over(bytes);
        return MeasureElementAndVoids(stream, 0x46, limit);
    };
    EXPECT_EQ(measure(kNoLimit), 17U);
    EXPECT_EQ(measure(5), 8U) << "enough is enough";
    StreamMem other = Over(bytes);
    EXPECT_THROW(MeasureElementAndVoids(other, 0x47, kNoLimit), ParseError);
}

}  // namespace
